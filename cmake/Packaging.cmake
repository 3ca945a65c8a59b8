# How the companion is installed and packaged: a Debian package on Linux, a disk image with the app
# bundle on macOS. Both come from the release build: cmake --build --preset release --target package

include(GNUInstallDirs)

set(CPACK_PACKAGE_NAME nuvexa-companion)
set(CPACK_PACKAGE_VENDOR nuvexa)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Makes this computer reachable from the nuvexa phone app")
set(CPACK_PACKAGE_CONTACT "nuvexa Companion developers <companion@nuvexa.app>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)

if(APPLE)
    # The disk image holds the app bundle, with the terminal front end inside it. Once both programs
    # are installed (and stripped, which would break a signature), the bundle gets the Qt frameworks
    # and Homebrew libraries they load and an ad-hoc signature, so that it runs on a Mac without
    # Homebrew; scripts/audit-macos-bundle.sh checks the result.
    find_program(NUVEXA_MACDEPLOYQT macdeployqt HINTS "${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}" REQUIRED)
    install(CODE "execute_process(
        COMMAND \"${CMAKE_COMMAND}\" -E env \"MACDEPLOYQT=${NUVEXA_MACDEPLOYQT}\"
            \"${PROJECT_SOURCE_DIR}/scripts/deploy-macos-bundle.sh\"
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/nuvexa-companion.app\"
        COMMAND_ERROR_IS_FATAL ANY)")
    set(CPACK_GENERATOR DragNDrop)
    set(CPACK_DMG_VOLUME_NAME "nuvexa Companion")
    set(CPACK_PACKAGE_FILE_NAME "nuvexa-companion-${PROJECT_VERSION}")
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION net)
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    # The summary above is the synopsis; this is the extended description under it.
    set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
        "nuvexa Companion lives in the system tray and pairs this computer with the\n"
        "nuvexa SSH terminal app on a phone: it shows a one-time code, and the phone's\n"
        "SSH key is installed for the user. It checks and repairs the computer's\n"
        "readiness (SSH server, mosh-server, tmux, mesh relay), keeps it awake on\n"
        "request and reports finished commands in the phone's tmux session.\n"
        "nuvexa-companion-cli does the same from a terminal, for machines without a\n"
        "desktop and for scripts.")
    string(REPLACE ";" "" CPACK_DEBIAN_PACKAGE_DESCRIPTION "${CPACK_DEBIAN_PACKAGE_DESCRIPTION}")
    # The libraries the programs link are found by the build; the services the phone uses are
    # recommended, since a machine may run them elsewhere or pair without announcing.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "avahi-daemon, openssh-server, tmux, mosh, qt6-wayland")
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

    set(NUVEXA_PACKAGING_OUT ${PROJECT_BINARY_DIR}/packaging)
    set(NUVEXA_MANUAL_PAGES nuvexa-companion nuvexa-companion-cli nuvexa-companion-cli-pair
        nuvexa-companion-cli-status nuvexa-companion-cli-devices nuvexa-companion-cli-doctor)
    set(NUVEXA_COMPRESSED_FILES)
    # Debian wants manual pages and the changelog compressed, reproducibly (no name, no time stamp).
    foreach(page ${NUVEXA_MANUAL_PAGES})
        configure_file(${PROJECT_SOURCE_DIR}/packaging/man/${page}.1 ${NUVEXA_PACKAGING_OUT}/${page}.1 @ONLY)
        list(APPEND NUVEXA_COMPRESSED_FILES ${NUVEXA_PACKAGING_OUT}/${page}.1)
    endforeach()
    configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/changelog ${NUVEXA_PACKAGING_OUT}/changelog @ONLY)
    list(APPEND NUVEXA_COMPRESSED_FILES ${NUVEXA_PACKAGING_OUT}/changelog)
    set(NUVEXA_COMPRESSED_OUTPUTS)
    foreach(file ${NUVEXA_COMPRESSED_FILES})
        add_custom_command(OUTPUT ${file}.gz
            COMMAND gzip -9 -n -c ${file} > ${file}.gz
            DEPENDS ${file}
            VERBATIM)
        list(APPEND NUVEXA_COMPRESSED_OUTPUTS ${file}.gz)
    endforeach()
    add_custom_target(compressed-docs ALL DEPENDS ${NUVEXA_COMPRESSED_OUTPUTS})

    foreach(page ${NUVEXA_MANUAL_PAGES})
        install(FILES ${NUVEXA_PACKAGING_OUT}/${page}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    endforeach()
    install(FILES ${NUVEXA_PACKAGING_OUT}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/nuvexa-companion)
    # Shell completions where each shell looks for a package's own.
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/nuvexa-companion-cli.bash
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME nuvexa-companion-cli)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/_nuvexa-companion-cli
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/nuvexa-companion-cli.fish
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d)
    # The autostart entry lives in /etc, so the package keeps a user's edit of it on upgrade.
    set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles)
endif()

include(CPack)
