// The forwarding entry (forwarding.cpp says what it is for): saves every register in which the procedure call standard for
// the 64-bit Arm architecture passes arguments, asks foundation_forwardingCode(self, selector) for the code to run, and
// branches there.
  .text
  .globl foundation_forward
  .type foundation_forward, %function
foundation_forward:
  .cfi_startproc
  stp x29, x30, [sp, #-224]!
  .cfi_def_cfa_offset 224
  .cfi_offset 29, -224
  .cfi_offset 30, -216
  mov x29, sp
  stp x0, x1, [sp, #16]
  stp x2, x3, [sp, #32]
  stp x4, x5, [sp, #48]
  stp x6, x7, [sp, #64]
  str x8, [sp, #80]
  stp q0, q1, [sp, #96]
  stp q2, q3, [sp, #128]
  stp q4, q5, [sp, #160]
  stp q6, q7, [sp, #192]
  bl foundation_forwardingCode
  mov x16, x0
  ldp x0, x1, [sp, #16]
  ldp x2, x3, [sp, #32]
  ldp x4, x5, [sp, #48]
  ldp x6, x7, [sp, #64]
  ldr x8, [sp, #80]
  ldp q0, q1, [sp, #96]
  ldp q2, q3, [sp, #128]
  ldp q4, q5, [sp, #160]
  ldp q6, q7, [sp, #192]
  ldp x29, x30, [sp], #224
  .cfi_restore 30
  .cfi_restore 29
  .cfi_def_cfa_offset 0
  br x16
  .cfi_endproc
  .size foundation_forward, .-foundation_forward
  .section .note.GNU-stack, "", %progbits
