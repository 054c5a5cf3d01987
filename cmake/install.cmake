# What `cmake --install` lays out: libraries, headers, programs, manual pages, the pages on hosts and records, and what
# pkg-config and find_package need. Everything is found relative to where it stands, so the prefix can be chosen, and
# moved, afterwards.
include(CMakePackageConfigHelpers)

# Targets zelkaudio::zelkaudio (shared), zelkaudio::static and zelkaudio::audiopost-check, here and in the installed
# package.
set_target_properties(zelkaudio_effect_eqdrc PROPERTIES EXPORT_NAME zelkaudio)
set_target_properties(zelkaudio_static PROPERTIES EXPORT_NAME static)
set_target_properties(audiopost_check PROPERTIES EXPORT_NAME audiopost-check)
add_library(zelkaudio::zelkaudio ALIAS zelkaudio_effect_eqdrc)
add_library(zelkaudio::static ALIAS zelkaudio_static)
add_library(zelkaudio::audiopost-check ALIAS audiopost_check)

install(TARGETS zelkaudio_effect_eqdrc zelkaudio_static audiopost_check EXPORT zelkaudio)
install(TARGETS process_file)
install(FILES include/zelkaudio_effect_eqdrc.h include/audiopost_check.h TYPE INCLUDE)
install(FILES docs/man/process_file.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/libzelkaudio.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)

install(FILES docs/integration.md docs/tuning-record.md TYPE DOC)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zelkaudio)
install(EXPORT zelkaudio NAMESPACE zelkaudio:: DESTINATION ${package_dir} FILE zelkaudio-config.cmake)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelkaudio-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelkaudio-config-version.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(module zelkaudio audiopost-check)
  configure_file(cmake/${module}.pc.in ${PROJECT_BINARY_DIR}/${module}.pc @ONLY)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/zelkaudio.pc ${PROJECT_BINARY_DIR}/audiopost-check.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(ZELK_AUDIOPOST)
  install(TARGETS audiopost)
  file(GLOB pages docs/man/audiopost*.1)
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES tools/audiopost/completion/audiopost.bash RENAME audiopost
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES tools/audiopost/completion/_audiopost DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
endif()
