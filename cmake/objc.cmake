# Objective-C over GCC's runtime and GNUstep Base, compiled by clang. Sets PELLION_HAS_OBJC; where it is true, targets that
# hold .m files link pellion_objc.

set(PELLION_FOUNDATION AUTO CACHE STRING
    "Build the backend over a real Objective-C runtime: ON, OFF, or AUTO (where its packages are installed)")
set_property(CACHE PELLION_FOUNDATION PROPERTY STRINGS AUTO ON OFF)

# What must be there, and the Debian package that has it.
file(GLOB gcc_include_dirs /usr/lib/gcc/*/*/include)
list(SORT gcc_include_dirs COMPARE NATURAL ORDER DESCENDING)
find_program(PELLION_OBJC_COMPILER NAMES clang)
find_path(PELLION_OBJC_RUNTIME_HEADERS objc/objc.h PATHS ${gcc_include_dirs} NO_DEFAULT_PATH)
find_library(PELLION_OBJC_RUNTIME objc PATHS ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
find_path(PELLION_GNUSTEP_HEADERS Foundation/Foundation.h PATHS /usr/include/GNUstep /usr/local/include/GNUstep)
find_library(PELLION_GNUSTEP_BASE gnustep-base)
set(missing "")
foreach(need IN ITEMS OBJC_COMPILER:clang OBJC_RUNTIME_HEADERS:gobjc OBJC_RUNTIME:gobjc
                      GNUSTEP_HEADERS:libgnustep-base-dev GNUSTEP_BASE:libgnustep-base-dev)
  string(REPLACE ":" ";" need ${need})
  list(GET need 0 found)
  list(GET need 1 package)
  if(NOT PELLION_${found})
    list(APPEND missing ${package})
  endif()
endforeach()
if(NOT EXISTS ${PROJECT_SOURCE_DIR}/src/foundation/runtime/forwarding_${CMAKE_SYSTEM_PROCESSOR}.S)
  message(STATUS "Without the backend over Objective-C: it has no forwarding entry for ${CMAKE_SYSTEM_PROCESSOR}")
  set(PELLION_FOUNDATION OFF)
endif()
list(REMOVE_DUPLICATES missing)
list(JOIN missing " " missing)

set(PELLION_HAS_OBJC FALSE)
if(PELLION_FOUNDATION STREQUAL "AUTO")
  if(missing STREQUAL "")
    set(PELLION_HAS_OBJC TRUE)
  else()
    message(STATUS "Without the backend over Objective-C; it needs: apt-get install ${missing}")
  endif()
elseif(PELLION_FOUNDATION)
  if(missing)
    message(FATAL_ERROR "PELLION_FOUNDATION is ON, but these packages are missing. Run: apt-get install ${missing}, "
                        "or configure with -DPELLION_FOUNDATION=OFF")
  endif()
  set(PELLION_HAS_OBJC TRUE)
endif()

if(PELLION_HAS_OBJC)
  set(CMAKE_OBJC_COMPILER ${PELLION_OBJC_COMPILER})
  set(CMAKE_OBJC_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
  foreach(type IN ITEMS DEBUG RELEASE)
    set(CMAKE_OBJC_FLAGS_${type} ${CMAKE_CXX_FLAGS_${type}} CACHE STRING "")
  endforeach()
  enable_language(OBJC ASM)

  add_library(pellion_objc INTERFACE)
  set(flags -fobjc-runtime=gcc -fblocks -fobjc-exceptions -fexceptions -pthread -fno-strict-aliasing
            -fconstant-string-class=NSConstantString -isystem${PELLION_GNUSTEP_HEADERS}
            -idirafter${PROJECT_SOURCE_DIR}/src/foundation/headers -idirafter${PELLION_OBJC_RUNTIME_HEADERS})
  set(definitions GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)
  target_compile_options(pellion_objc INTERFACE "$<$<COMPILE_LANGUAGE:OBJC>:${flags}>")
  target_compile_definitions(pellion_objc INTERFACE "$<$<COMPILE_LANGUAGE:OBJC>:${definitions}>")
  # The C++ driver links, because the C++ side needs its library; the runtime comes behind the repairs.
  target_link_libraries(pellion_objc INTERFACE ${PELLION_GNUSTEP_BASE} ${PELLION_OBJC_RUNTIME})
endif()

# The Objective-C and assembly sources of a target are compiled one by one.
function(pellion_objc_sources target)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.(m|S)$")
  set_source_files_properties(${sources} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  target_link_libraries(${target} PUBLIC $<BUILD_INTERFACE:pellion_objc>)
endfunction()

# A program over the Foundation backend. It links the module's library alone: as a target, that would bring the backend of
# this build with it.
function(pellion_foundation_program target)
  pellion_objc_sources(${target})
  add_dependencies(${target} PellionMessaging)
  target_link_libraries(${target} PRIVATE PellionObjC $<TARGET_LINKER_FILE:PellionMessaging> PellionFoundation)
endfunction()
