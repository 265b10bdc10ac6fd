# What `cpack --preset package` makes: pellion_*.deb for users, libpellionmessaging-dev_*.deb for developers,
# libpellionfoundation-dev_*.deb for developers in Objective-C.

set(CPACK_PACKAGE_CONTACT "PellionMessaging maintainers <pellion@example.org>" CACHE STRING "Debian's Maintainer")
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME pellion)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
    "The command line plays scenarios of notifications on a simulated phone and
shows, step by step, what the push-notification module of a mobile analytics
kit does, and what its backend receives.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS ca-certificates)  # for run --server https://…
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

# A build with the static libraries needs the packages that they were built with, as listed in packages.txt.
file(STRINGS packages.txt needed REGEX "^build +lib.*-dev ")
list(FILTER needed EXCLUDE REGEX "libcli11|libzmq3|libmsgpack")  # of the program alone
list(TRANSFORM needed REPLACE "^build +([^ ]+) .*" "\\1")
list(JOIN needed ", " needed)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libpellionmessaging-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "pellion (= ${PROJECT_VERSION}-1), pkgconf, ${needed}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Headers, the simulated phone and the local backend as static libraries, and
what CMake and pkg-config need to find them.")

if(PELLION_HAS_OBJC)
  list(APPEND CPACK_COMPONENTS_ALL foundation)
  set(CPACK_DEBIAN_FOUNDATION_PACKAGE_NAME libpellionfoundation-dev)
  set(CPACK_DEBIAN_FOUNDATION_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_FOUNDATION_PACKAGE_DEPENDS
      "libpellionmessaging-dev (= ${PROJECT_VERSION}-1), clang, gobjc, libgnustep-base-dev")
  set(CPACK_DEBIAN_FOUNDATION_DESCRIPTION
      "For programs in Objective-C: the module over GCC's runtime and GNUstep Base,
its Objective-C headers, and a core library for programs that have none.")
endif()

include(CPack)
