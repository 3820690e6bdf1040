# SPDX-License-Identifier: Apache-2.0
# Where things are installed. Directories are those of GNUInstallDirs; DESTDIR goes in front of
# all. A component is named after the Debian package that holds it (packaging/debian/control), so
# that packages hold what `cmake --install` puts there and nothing else lists files.
include(GNUInstallDirs)

# As GNUInstallDirs has it for /usr, but for install(), too, which takes it for below the prefix.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND CMAKE_INSTALL_SYSCONFDIR STREQUAL "etc")
  set(CMAKE_INSTALL_SYSCONFDIR /etc)
endif()
set(ZOR_INSTALL_CONFIG ${CMAKE_INSTALL_SYSCONFDIR}/zor)
cmake_path(ABSOLUTE_PATH ZOR_INSTALL_CONFIG BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
           OUTPUT_VARIABLE ZOR_INSTALL_FULL_CONFIG)
set(ZOR_INSTALL_COMPLETION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# zor_install_program(TARGET PACKAGE component [PAGES page...] [NO_OPTIONS]): a program of the
# user's, with the completion of its options, if it has any, and its manual pages (name.section,
# source docs/man/name.section.scd).
function(zor_install_program target)
  cmake_parse_arguments(P NO_OPTIONS PACKAGE PAGES ${ARGN})
  install(TARGETS ${target} COMPONENT ${P_PACKAGE})
  zor_install_pages(${P_PACKAGE} ${P_PAGES})
  if(NOT P_NO_OPTIONS)
    set(program ${target})
    string(MAKE_C_IDENTIFIER ${target} program_function)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/completion/program.bash.in
                   ${PROJECT_BINARY_DIR}/completion/${target} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/completion/${target}
            DESTINATION ${ZOR_INSTALL_COMPLETION} COMPONENT ${P_PACKAGE})
  endif()
endfunction()

# zor_install_pages(COMPONENT page...): manual pages, made when everything is. They say the version
# and its day, so that the same source is the same page.
function(zor_install_pages component)
  if(NOT ZOR_MAN)
    return()
  endif()
  foreach(page IN LISTS ARGN)
    set(source ${PROJECT_SOURCE_DIR}/docs/man/${page}.scd)
    set(made ${PROJECT_BINARY_DIR}/man/${page})
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 1 section)
    add_custom_command(OUTPUT ${made} DEPENDS ${source} ${PROJECT_SOURCE_DIR}/packaging/man-page
      COMMAND ${PROJECT_SOURCE_DIR}/packaging/man-page ${SCDOC} ${PROJECT_VERSION} ${source} ${made}
      VERBATIM)
    add_custom_target(man-${page} ALL DEPENDS ${made})
    install(FILES ${made} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
            COMPONENT ${component})
  endforeach()
endfunction()

# zor_install_systemd(FILE COMPONENT DIRECTORY [NAME]): packaging/systemd/FILE.in for the system's
# manager, with the directories of this installation, into DIRECTORY, there as NAME.
function(zor_install_systemd file component directory)
  set(name ${file})
  if(ARGC GREATER 3)
    set(name ${ARGV3})
  endif()
  if(ZOR_SYSTEMD)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/systemd/${file}.in
                   ${PROJECT_BINARY_DIR}/systemd/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/systemd/${file} DESTINATION ${directory}
            COMPONENT ${component} RENAME ${name})
  endif()
endfunction()

# zor_install_config(FILE COMPONENT NAME): a file that the administrator changes. One that is there
# already is his and is left alone.
function(zor_install_config file component name)
  set(code [[
    set(directory "@ZOR_INSTALL_CONFIG@")
    if(NOT IS_ABSOLUTE "${directory}")
      set(directory "${CMAKE_INSTALL_PREFIX}/${directory}")
    endif()
    if(EXISTS "$ENV{DESTDIR}${directory}/@name@")
      message(STATUS "Left alone: $ENV{DESTDIR}${directory}/@name@")
    else()
      file(INSTALL DESTINATION "${directory}" TYPE FILE RENAME "@name@" FILES "@file@")
    endif()]])
  string(CONFIGURE "${code}" code @ONLY)
  install(CODE "${code}" COMPONENT ${component})
endfunction()

# What every unit of a service has. Its own address families, network and devices are its own.
set(ZOR_UNIT_HARDENING [[
User=zor
Group=zor
# What the service makes there has the directory's group, whoever has changed that since: it need not
# be allowed to change groups itself.
RuntimeDirectory=zor/%i
RuntimeDirectoryMode=2750
StateDirectory=zor/archive/%i
StateDirectoryMode=0750
UMask=0027

# Neither PrivateUsers nor RootDirectory: who a caller is, the kernel says by numbers that must
# mean the same on both ends of the socket, and rights name users of this system.
NoNewPrivileges=yes
CapabilityBoundingSet=
AmbientCapabilities=
ProtectSystem=strict
ProtectHome=yes
ProtectProc=invisible
ProcSubset=pid
ProtectClock=yes
ProtectControlGroups=yes
ProtectHostname=yes
ProtectKernelLogs=yes
ProtectKernelModules=yes
ProtectKernelTunables=yes
PrivateTmp=yes
PrivateIPC=yes
PrivateMounts=yes
DevicePolicy=closed
KeyringMode=private
LockPersonality=yes
MemoryDenyWriteExecute=yes
RemoveIPC=yes
RestrictNamespaces=yes
RestrictRealtime=yes
RestrictSUIDSGID=yes
SystemCallArchitectures=native
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources
# A call that is none of these is an error like others, no end of the service.
SystemCallErrorNumber=EPERM]])
