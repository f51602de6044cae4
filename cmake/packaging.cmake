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
install(TARGETS zrtplatform zrtmon LIBRARY DESTINATION libexec/zrtmon) # private: no other program links them
install(TARGETS zrtctl RUNTIME DESTINATION bin)
set_target_properties(zrtctl PROPERTIES INSTALL_RPATH "$ORIGIN/../libexec/zrtmon")
set_target_properties(zrtmon PROPERTIES INSTALL_RPATH "$ORIGIN")
install(FILES ${ZRTMON_DOCUMENTS} DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/linux/zrtctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/linux/zrtctl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME zrtctl)

set(CPACK_PACKAGE_NAME zrtmon)
set(CPACK_PACKAGE_VENDOR "The zrtmon developers")
set(CPACK_PACKAGE_CONTACT "The zrtmon developers <zrtmon@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
