# The page of `pellion lab`, built with npm into the program. Sets PELLION_HAS_LAB_PAGE, and adds to pellion_app the
# source that holds the page or, in a build without it, holds nothing.

set(PELLION_LAB AUTO CACHE STRING "Build the page of pellion lab: ON, OFF, or AUTO for where npm is installed")
set_property(CACHE PELLION_LAB PROPERTY STRINGS AUTO ON OFF)

set(lab ${PROJECT_SOURCE_DIR}/lab)
set(lab_page ${lab}/dist)
file(GLOB_RECURSE lab_sources CONFIGURE_DEPENDS ${lab}/src/* ${lab}/scripts/* ${lab}/package*.json ${lab}/tsconfig*.json)
file(GLOB_RECURSE lab_examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/payloads/*.json
     ${PROJECT_SOURCE_DIR}/examples/scenarios/*.json)  # the page offers them
list(FILTER lab_sources EXCLUDE REGEX "/(node_modules|generated)/")
find_program(PELLION_NPM npm)

set(PELLION_HAS_LAB_PAGE OFF)
if(PELLION_LAB STREQUAL "AUTO")
  if(PELLION_NPM AND EXISTS ${lab}/package.json)
    set(PELLION_HAS_LAB_PAGE ON)
  endif()
elseif(PELLION_LAB)
  if(NOT PELLION_NPM)
    message(FATAL_ERROR "The page of pellion lab is built with npm, which is not installed. Install nodejs and npm, "
                        "or leave the page out with -DPELLION_LAB=OFF.")
  endif()
  set(PELLION_HAS_LAB_PAGE ON)
endif()

configure_file(${CMAKE_CURRENT_SOURCE_DIR}/lab_server/lab_page_files.cpp.in lab_page_files.cpp @ONLY)
target_sources(pellion_app PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/lab_page_files.cpp)
set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/lab_page_files.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
if(PELLION_HAS_LAB_PAGE)
  # npm writes this file last.
  set(installed ${lab}/node_modules/.package-lock.json)
  add_custom_command(OUTPUT ${installed}
                     COMMAND ${PELLION_NPM} ci --no-audit --no-fund --loglevel=error
                     COMMAND ${CMAKE_COMMAND} -E touch ${installed}
                     DEPENDS ${lab}/package-lock.json WORKING_DIRECTORY ${lab} VERBATIM
                     COMMENT "Building: installing what the page of pellion lab is made of")
  set(files ${lab_page}/index.html ${lab_page}/lab.js ${lab_page}/lab.css ${lab_page}/icon.svg)
  list(TRANSFORM files APPEND .gz OUTPUT_VARIABLE compressed)
  add_custom_command(OUTPUT ${compressed} BYPRODUCTS ${files}
                     COMMAND ${PELLION_NPM} run --silent build
                     COMMAND gzip -9nkf ${files}
                     DEPENDS ${installed} ${lab_sources} ${lab_examples} WORKING_DIRECTORY ${lab} VERBATIM
                     COMMENT "Building the page of pellion lab")
  target_sources(pellion_app PRIVATE ${compressed})
  set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/lab_page_files.cpp PROPERTIES OBJECT_DEPENDS "${compressed}")
endif()
