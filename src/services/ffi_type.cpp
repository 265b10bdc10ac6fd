#include "services/ffi_type.h"

namespace services {

ffi_type* ffiType(char letter) {
  switch (letter) {
    case 'v': return &ffi_type_void;
    case 'c': return &ffi_type_sint8;
    case 'B':
    case 'C': return &ffi_type_uint8;
    case 's': return &ffi_type_sint16;
    case 'S': return &ffi_type_uint16;
    case 'l':
    case 'i': return &ffi_type_sint32;
    case 'L':
    case 'I': return &ffi_type_uint32;
    case 'q': return &ffi_type_sint64;
    case 'Q': return &ffi_type_uint64;
    case 'f': return &ffi_type_float;
    case 'd': return &ffi_type_double;
    default: return &ffi_type_pointer;
  }
}

}  // namespace services
