# Objective-C over GCC's runtime and GNUstep Base, compiled by clang. Sets PELLION_HAS_OBJC; where it is true, targets that
# hold .m files link pellion_objc.

set(PELLION_FOUNDATION AUTO CACHE STRING
    "Build the backend over a real Objective-C runtime: ON, OFF, or AUTO (where its packages are installed)")
set_property(CACHE PELLION_FOUNDATION PROPERTY STRINGS AUTO ON OFF)

include(cmake/PellionObjC.cmake)
if(NOT EXISTS ${PROJECT_SOURCE_DIR}/src/foundation/runtime/forwarding_${CMAKE_SYSTEM_PROCESSOR}.S)
  message(STATUS "Without the backend over Objective-C: it has no forwarding entry for ${CMAKE_SYSTEM_PROCESSOR}")
  set(PELLION_FOUNDATION OFF)
endif()

set(PELLION_HAS_OBJC FALSE)
if(PELLION_FOUNDATION STREQUAL "AUTO")
  if(PELLION_OBJC_MISSING STREQUAL "")
    set(PELLION_HAS_OBJC TRUE)
  else()
    message(STATUS "Without the backend over Objective-C; it needs: apt-get install ${PELLION_OBJC_MISSING}")
  endif()
elseif(PELLION_FOUNDATION)
  if(PELLION_OBJC_MISSING)
    message(FATAL_ERROR "PELLION_FOUNDATION is ON, but these packages are missing. Run: apt-get install ${PELLION_OBJC_MISSING}, "
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
  # The C++ driver links, because the C++ side needs its library.
  pellion_objc_usage(pellion_objc -idirafter${PROJECT_SOURCE_DIR}/src/foundation/headers)
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
  target_link_libraries(${target} PRIVATE PellionMessaging::Foundation)
endfunction()

# Makes a folder for the user defaults of this directory's programs. Sets `config` to the file that names it, for their
# variable GNUSTEP_CONFIG_FILE; GNUstep reads it if no one else can write it.
function(pellion_defaults_folder config)
  set(file ${CMAKE_CURRENT_BINARY_DIR}/GNUstep.conf)
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/defaults)
  file(WRITE ${file} "GNUSTEP_USER_DEFAULTS_DIR=${CMAKE_CURRENT_BINARY_DIR}/defaults\n")
  file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE)
  set(${config} ${file} PARENT_SCOPE)
endfunction()
