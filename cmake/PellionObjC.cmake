# What compiles and links Objective-C over GCC's runtime and GNUstep Base with clang. Also installed, for projects that
# ask for the component Foundation. Sets PELLION_OBJC_MISSING to the Debian packages that are missing; when there are
# none, pellion_objc_usage(target) gives an interface target the flags.

file(GLOB gcc_include_dirs /usr/lib/gcc/*/*/include)
list(SORT gcc_include_dirs COMPARE NATURAL ORDER DESCENDING)
find_program(PELLION_OBJC_COMPILER NAMES clang)
find_path(PELLION_OBJC_RUNTIME_HEADERS objc/objc.h PATHS ${gcc_include_dirs} NO_DEFAULT_PATH)
find_library(PELLION_OBJC_RUNTIME objc PATHS ${PELLION_OBJC_RUNTIME_HEADERS}/..)  # where GCC keeps both
find_path(PELLION_GNUSTEP_HEADERS Foundation/Foundation.h PATHS /usr/include/GNUstep /usr/local/include/GNUstep)
find_library(PELLION_GNUSTEP_BASE gnustep-base)
set(PELLION_OBJC_MISSING "")
foreach(need IN ITEMS OBJC_COMPILER:clang OBJC_RUNTIME_HEADERS:gobjc OBJC_RUNTIME:gobjc
                      GNUSTEP_HEADERS:libgnustep-base-dev GNUSTEP_BASE:libgnustep-base-dev)
  string(REPLACE ":" ";" need ${need})
  list(GET need 0 found)
  list(GET need 1 package)
  if(NOT PELLION_${found})
    list(APPEND PELLION_OBJC_MISSING ${package})
  endif()
endforeach()
list(REMOVE_DUPLICATES PELLION_OBJC_MISSING)
list(JOIN PELLION_OBJC_MISSING " " PELLION_OBJC_MISSING)

set(PELLION_OBJC_FLAGS -fobjc-runtime=gcc -fblocks -fobjc-exceptions -fexceptions -pthread -fno-strict-aliasing
                       -fconstant-string-class=NSConstantString -isystem${PELLION_GNUSTEP_HEADERS})
set(PELLION_OBJC_DEFINITIONS GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)

function(pellion_objc_usage target)
  set(flags ${PELLION_OBJC_FLAGS} ${ARGN} -idirafter${PELLION_OBJC_RUNTIME_HEADERS})
  set_property(TARGET ${target} APPEND PROPERTY INTERFACE_COMPILE_OPTIONS "$<$<COMPILE_LANGUAGE:OBJC>:${flags}>")
  set_property(TARGET ${target} APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS
                                                "$<$<COMPILE_LANGUAGE:OBJC>:${PELLION_OBJC_DEFINITIONS}>")
  # The runtime comes behind the repairs.
  set_property(TARGET ${target} APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${PELLION_GNUSTEP_BASE} ${PELLION_OBJC_RUNTIME})
endfunction()
