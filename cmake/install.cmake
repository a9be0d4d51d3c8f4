# `cmake --install`: the programs, their manual, completion, documents and licence, by the folders
# of GNU. The computer's settings and folders are a package's affair (packaging/debian), since the
# programs look for them at fixed places whatever the prefix is.
include_guard(GLOBAL)
include(GNUInstallDirs)

# Debian's packages use .../vendor-completions.
set(KESTREL_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
  "Where zsh looks for completion, under the prefix")

install(TARGETS kestrel kestrelctl)
foreach(section 1 5)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    FILES_MATCHING PATTERN "*.${section}")
endforeach()
# bash looks for a file of each program's name.
foreach(program kestrel kestrelctl)
  install(FILES ${CMAKE_BINARY_DIR}/completion/kestrel.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/completion/_kestrel DESTINATION ${KESTREL_ZSH_DIR})
install(FILES README.md CHANGELOG.md SECURITY.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${CMAKE_BINARY_DIR}/settings/registry.reg DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
