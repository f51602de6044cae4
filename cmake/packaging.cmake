# What the packages contain, and where. scripts/package makes them.
set(ZRTMON_DOCUMENTS
    README.md
    docs/security.md
    docs/value-names.md
    docs/windows.md
    docs/zrtctl.md)

if(WIN32)
    install(TARGETS zrtmon zrtctl RUNTIME DESTINATION .)
    install(FILES packaging/windows/zrtmon.inf DESTINATION .)
    install(FILES ${ZRTMON_DOCUMENTS} DESTINATION docs)
    return() # the script signs what it installs before it packs it
endif()

include(GNUInstallDirs)

# zrt_install_compressed(file folder): what Debian wants compressed. Done when CMake runs, which it does again
# after a change of the file.
function(zrt_install_compressed file folder)
    get_filename_component(name ${file} NAME)
    set(compressed ${PROJECT_BINARY_DIR}/compressed/${name}.gz)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/compressed)
    execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${compressed} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    install(FILES ${compressed} DESTINATION ${folder})
endfunction()

# zrt_install_about(package): what every Debian package has to say of itself.
function(zrt_install_about package)
    zrt_install_compressed(${PROJECT_BINARY_DIR}/changelog share/doc/${package})
    install(FILES packaging/linux/copyright DESTINATION share/doc/${package})
endfunction()

set(ZRTMON_ADDRESS zrtmon@packages.example.org)
configure_file(packaging/linux/changelog.in changelog @ONLY)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME zrtmon)
install(TARGETS zrtplatform zrtmon LIBRARY DESTINATION libexec/zrtmon) # private: no other program links them
install(TARGETS zrtctl RUNTIME DESTINATION bin)
set_target_properties(zrtctl PROPERTIES INSTALL_RPATH "$ORIGIN/../libexec/zrtmon")
set_target_properties(zrtmon PROPERTIES INSTALL_RPATH "$ORIGIN")
install(FILES ${ZRTMON_DOCUMENTS} DESTINATION ${CMAKE_INSTALL_DOCDIR})
zrt_install_about(zrtmon)
zrt_install_compressed(packaging/linux/zrtctl.1 ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/linux/zrtctl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME zrtctl)

# The print service, in a package of its own.
set(service ${PROJECT_SOURCE_DIR}/packaging/linux/service)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME zrtmon-service)
install(TARGETS zrtmond RUNTIME DESTINATION sbin)
install(TARGETS zrt RUNTIME DESTINATION lib/cups/backend)
set_target_properties(zrtmond PROPERTIES INSTALL_RPATH "$ORIGIN/../libexec/zrtmon")
set_target_properties(zrt PROPERTIES INSTALL_RPATH "$ORIGIN/../../../libexec/zrtmon")
install(FILES ${service}/zrtmond.service DESTINATION /lib/systemd/system)
install(FILES ${service}/org.zrtmon.conf DESTINATION share/dbus-1/system.d)
install(FILES ${service}/org.zrtmon.service DESTINATION share/dbus-1/system-services)
install(FILES service/org.zrtmon.xml DESTINATION share/dbus-1/interfaces)
install(FILES ${service}/zrtmond.conf DESTINATION /etc/zrtmon)
install(FILES ${service}/front-desk.conf.sample DESTINATION /etc/zrtmon/printers.d)
zrt_install_compressed(packaging/linux/service/zrtmond.8 ${CMAKE_INSTALL_MANDIR}/man8)
zrt_install_compressed(packaging/linux/service/zrt-backend.8 ${CMAKE_INSTALL_MANDIR}/man8)
zrt_install_about(zrtmon-service)
install(FILES docs/cups.md DESTINATION share/doc/zrtmon-service)

set(CPACK_PACKAGE_NAME zrtmon)
set(CPACK_PACKAGE_VENDOR "The zrtmon developers")
set(CPACK_PACKAGE_CONTACT "The zrtmon developers <${ZRTMON_ADDRESS}>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL zrtmon zrtmon-service)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ZRTMON_PACKAGE_NAME zrtmon)
set(CPACK_DEBIAN_ZRTMON_DESCRIPTION "The library that a spooler loads, zrtctl, which prints and queries
through it from the command line, and a simulated printer.")
set(CPACK_DEBIAN_ZRTMON-SERVICE_PACKAGE_NAME zrtmon-service)
set(CPACK_DEBIAN_ZRTMON-SERVICE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_ZRTMON-SERVICE_PACKAGE_DEPENDS
    "zrtmon (= ${PROJECT_VERSION}), adduser, default-dbus-system-bus | dbus-system-bus, systemd")
set(CPACK_DEBIAN_ZRTMON-SERVICE_PACKAGE_RECOMMENDS "cups-daemon")
set(CPACK_DEBIAN_ZRTMON-SERVICE_DESCRIPTION "A system service that keeps the configured printers, so that
several programs print to them and query them at once, with its CUPS backend.")
set(CPACK_DEBIAN_ZRTMON-SERVICE_PACKAGE_CONTROL_EXTRA
    ${service}/conffiles ${service}/postinst ${service}/prerm ${service}/postrm)
include(CPack)
