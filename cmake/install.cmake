# The package that other programs find by CMake's find_package and by pkg-config.
include(CMakePackageConfigHelpers)

install(TARGETS sealkit kp EXPORT sealkitTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/sealkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/include/kp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
if(TARGET sealkit_program)
    install(TARGETS sealkit_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY man/man1 DESTINATION ${CMAKE_INSTALL_MANDIR})
    install(FILES share/completions/sealkit.bash RENAME sealkit
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES share/completions/_sealkit DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES share/completions/sealkit.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    install(FILES share/sealkit.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sealkit)
endif()

install(DIRECTORY man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR})

install(EXPORT sealkitTargets NAMESPACE sealkit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sealkit)
configure_package_config_file(cmake/sealkitConfig.cmake.in ${CMAKE_BINARY_DIR}/sealkitConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sealkit)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/sealkitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/sealkitConfig.cmake ${CMAKE_BINARY_DIR}/sealkitConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/sealkit)

# The .pc file is relocatable: its prefix follows from its own place.
if(NOT SEALKIT_MLKEM)
    set(SEALKIT_PC_DEFINITIONS " -DSEALKIT_WITHOUT_MLKEM")
endif()
file(RELATIVE_PATH SEALKIT_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/sealkit.pc.in ${CMAKE_BINARY_DIR}/sealkit.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/sealkit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
