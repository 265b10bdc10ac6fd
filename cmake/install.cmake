# What `cmake --install` installs, and where. Component `program`: what users run (command line, module, their pages).
# Component `development`: what other projects need to build with the module. Component `foundation`: what projects in
# Objective-C need besides.

include(CMakePackageConfigHelpers)
set(PELLION_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Where zsh looks for completions, below the prefix")
set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/pellion-cxx)  # apart from those of Objective-C
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/PellionMessaging)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/pellion)

# Libraries and the program. The program finds the module also when the prefix is moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE to_libs)
set_target_properties(pellion PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libs}")
install(TARGETS pellion RUNTIME COMPONENT program)
install(TARGETS PellionMessaging EXPORT PellionMessaging INCLUDES DESTINATION ${include_dir}
        LIBRARY COMPONENT program NAMELINK_COMPONENT development)
install(TARGETS PellionHost PellionBackend EXPORT PellionMessaging INCLUDES DESTINATION ${include_dir}
        ARCHIVE COMPONENT development)
foreach(library IN ITEMS PellionMessaging PellionHost PellionBackend)
  add_library(PellionMessaging::${library} ALIAS ${library})
  target_compile_features(${library} PUBLIC cxx_std_20)
endforeach()

# Headers, under the paths by which they include each other.
function(pellion_install_headers root)
  foreach(header IN LISTS ARGN)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${root}/${header} DESTINATION ${include_dir}/${folder} COMPONENT development)
  endforeach()
endfunction()

# The module's headers that have a public class, and the host's headers that a program needs to simulate a phone.
file(GLOB module_headers RELATIVE ${PROJECT_SOURCE_DIR}/src CONFIGURE_DEPENDS src/messaging/*.h src/network/*.h
     src/appdelegate/*.h src/interception/*.h)
foreach(header IN LISTS module_headers)
  file(STRINGS src/${header} public_class REGEX "^(class|struct) PL_EXPORT ")
  if(public_class)
    pellion_install_headers(${PROJECT_SOURCE_DIR}/src ${header})
  endif()
endforeach()
file(GLOB platform_headers RELATIVE ${PROJECT_SOURCE_DIR}/src CONFIGURE_DEPENDS src/platform/*.h)
set(host_headers clock core_library main_queue observed_event phone process system_events url_schemes)
list(TRANSFORM host_headers REPLACE ".+" "host/phone/\\0.h")
list(APPEND host_headers services/core_library/configuration.h services/item_store.h services/memory_store.h
     services/timed_queue.h services/http/network_policy.h services/url_loading/network.h
     services/url_loading/request_outcome.h services/url_loading/request_owner.h)
pellion_install_headers(${PROJECT_SOURCE_DIR}/src ${platform_headers} ${host_headers})
set(backend_headers answer backend jwt_reader received_request)
list(TRANSFORM backend_headers REPLACE ".+" "pellion/backend/\\0.h")
pellion_install_headers(${PROJECT_SOURCE_DIR}/apps ${backend_headers})

# Objective-C: <PellionMessaging/PellionMessaging.h> and @import PellionMessaging, as a framework has them, and the core
# library likewise.
if(PELLION_HAS_OBJC)
  install(TARGETS PellionObjC PellionFoundation PellionCoreLibrary EXPORT PellionMessagingFoundation
          ARCHIVE COMPONENT foundation)
  install(EXPORT PellionMessagingFoundation NAMESPACE PellionMessaging:: DESTINATION ${config_dir} COMPONENT foundation)
  install(FILES cmake/PellionObjC.cmake DESTINATION ${config_dir} COMPONENT foundation)
  set(framework src/framework/PellionMessaging)
  set(framework_headers PellionMessaging PLAppDelegateSwizzler PLDefines PLMessaging PLNotificationHandler)
  list(TRANSFORM framework_headers REPLACE ".+" "${framework}/\\0.h")
  install(FILES ${framework_headers} ${framework}/module.modulemap
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/PellionMessaging COMPONENT foundation)
  # GNUstep's headers need it; behind all other folders, so that a package's own comes first.
  set(objc_headers ${CMAKE_INSTALL_LIBDIR}/PellionMessaging/include)
  install(FILES src/foundation/headers/objc/blocks_runtime.h DESTINATION ${objc_headers}/objc COMPONENT foundation)
  set(framework src/framework/PellionCoreLibrary)
  install(FILES ${framework}/PellionCoreLibrary.h ${framework}/module.modulemap
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/PellionCoreLibrary COMPONENT foundation)
endif()

# Files with which other projects find them: by find_package(PellionMessaging) or by pkg-config.
install(EXPORT PellionMessaging NAMESPACE PellionMessaging:: DESTINATION ${config_dir} COMPONENT development)
configure_package_config_file(cmake/PellionMessagingConfig.cmake.in PellionMessagingConfig.cmake
                              INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(PellionMessagingConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/PellionMessagingConfig.cmake ${PROJECT_BINARY_DIR}/PellionMessagingConfigVersion.cmake
        DESTINATION ${config_dir} COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}
           OUTPUT_VARIABLE to_prefix)
function(pellion_install_pkgconfig name description)
  list(JOIN ARGN " " requires)
  configure_file(cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
endfunction()
pellion_install_pkgconfig(PellionMessaging "${PROJECT_DESCRIPTION}" PellionHost)
pellion_install_pkgconfig(PellionHost "A simulated phone for the module to run on" ${PELLION_HOST_MODULES})
pellion_install_pkgconfig(PellionBackend "A backend on loopback that records and decodes the module's requests"
                          PellionHost ${PELLION_BACKEND_MODULES})

if(PELLION_HAS_OBJC)
  list(JOIN PELLION_HOST_MODULES " " requires)
  list(JOIN PELLION_OBJC_FLAGS " " objc_flags)
  list(TRANSFORM PELLION_OBJC_DEFINITIONS PREPEND -D OUTPUT_VARIABLE objc_definitions)
  list(JOIN objc_definitions " " objc_definitions)
  list(JOIN PELLION_CORE_LIBRARY_SYMBOLS " " core_library_symbols)
  foreach(name IN ITEMS PellionFoundation PellionCoreLibrary)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_dir} COMPONENT foundation)
  endforeach()
endif()

# Manual page, changelog, documents, shell completions.
function(pellion_install_compressed source directory name)
  set(compressed ${PROJECT_BINARY_DIR}/${name}.gz)
  execute_process(COMMAND gzip -9n INPUT_FILE ${source} OUTPUT_FILE ${compressed} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${compressed} DESTINATION ${directory} COMPONENT program)
endfunction()
configure_file(apps/pellion/pellion.1.in pellion.1 @ONLY)
pellion_install_compressed(${PROJECT_BINARY_DIR}/pellion.1 ${CMAKE_INSTALL_MANDIR}/man1 pellion.1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
pellion_install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${doc_dir} changelog)
install(DIRECTORY docs examples DESTINATION ${doc_dir} COMPONENT program PATTERN run EXCLUDE)  # run needs the sources

set(completions apps/pellion/completion)
install(FILES ${completions}/pellion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME pellion COMPONENT program)
install(FILES ${completions}/_pellion DESTINATION ${PELLION_ZSH_COMPLETIONS} COMPONENT program)
install(FILES ${completions}/pellion.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT program)
