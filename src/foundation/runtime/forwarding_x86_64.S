// The forwarding entry (forwarding.cpp says what it is for): saves every register in which the System V calling convention
// passes arguments, asks foundation_forwardingCode(self, selector) for the code to run, and jumps there.
  .text
  .globl foundation_forward
  .type foundation_forward, @function
foundation_forward:
  .cfi_startproc
  pushq %rbp
  .cfi_def_cfa_offset 16
  .cfi_offset 6, -16
  movq %rsp, %rbp
  .cfi_def_cfa_register 6
  subq $192, %rsp
  movq %rdi, -8(%rbp)
  movq %rsi, -16(%rbp)
  movq %rdx, -24(%rbp)
  movq %rcx, -32(%rbp)
  movq %r8, -40(%rbp)
  movq %r9, -48(%rbp)
  movq %rax, -56(%rbp)
  movups %xmm0, -80(%rbp)
  movups %xmm1, -96(%rbp)
  movups %xmm2, -112(%rbp)
  movups %xmm3, -128(%rbp)
  movups %xmm4, -144(%rbp)
  movups %xmm5, -160(%rbp)
  movups %xmm6, -176(%rbp)
  movups %xmm7, -192(%rbp)
  call foundation_forwardingCode@PLT
  movq %rax, %r11
  movq -8(%rbp), %rdi
  movq -16(%rbp), %rsi
  movq -24(%rbp), %rdx
  movq -32(%rbp), %rcx
  movq -40(%rbp), %r8
  movq -48(%rbp), %r9
  movq -56(%rbp), %rax
  movups -80(%rbp), %xmm0
  movups -96(%rbp), %xmm1
  movups -112(%rbp), %xmm2
  movups -128(%rbp), %xmm3
  movups -144(%rbp), %xmm4
  movups -160(%rbp), %xmm5
  movups -176(%rbp), %xmm6
  movups -192(%rbp), %xmm7
  leave
  .cfi_def_cfa 7, 8
  jmp *%r11
  .cfi_endproc
  .size foundation_forward, .-foundation_forward
  .section .note.GNU-stack, "", @progbits
