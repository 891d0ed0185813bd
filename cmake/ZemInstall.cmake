# SPDX-License-Identifier: BSD-2-Clause
# Where everything goes. Paths follow GNUInstallDirs; what the agent needs in its settings, in the
# unit and in the rc script is filled in from the same variables, so that they cannot disagree.
#
# Components: zem-agent, zem-client and zem-exporter, the packages of cmake/ZemPackage.cmake.

include(GNUInstallDirs)

get_filename_component(ZEM_ROOT "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(ZEM_OUT "${PROJECT_BINARY_DIR}")

option(ZEM_INSTALL_SERVICE "Install the service of the system (systemd unit or rc.d script)" ON)

if(CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
  set(state_default /var/db/zem)
  set(pid_default /var/run/zem/zem.pid)
  set(plugin_default ${CMAKE_INSTALL_LIBEXECDIR}/nagios)
else()
  set(state_default /var/lib/zem)
  set(pid_default /run/zem/zem.pid)
  set(plugin_default lib/nagios/plugins)
endif()
set(ZEM_STATEDIR ${state_default} CACHE PATH "Home of the agent, with its temporary folder")
set(ZEM_LOGDIR /var/log/zem CACHE PATH "Folder of the logs")
set(ZEM_PIDFILE ${pid_default} CACHE FILEPATH "Pid file of the daemon mode")
set(ZEM_PLUGINDIR ${plugin_default} CACHE PATH "Folder of the monitoring plugins")
set(ZEM_SYSTEMD_UNITDIR lib/systemd/system CACHE PATH "Folder of systemd units")
if(EXISTS /etc/debian_version AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(zsh_default ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
else()
  set(zsh_default ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
endif()
set(ZEM_ZSHDIR ${zsh_default} CACHE PATH "Folder of completions for zsh")

set(ZEM_SBINDIR ${CMAKE_INSTALL_FULL_SBINDIR})
set(ZEM_BINDIR ${CMAKE_INSTALL_FULL_BINDIR})
set(ZEM_LIBEXECDIR ${CMAKE_INSTALL_FULL_LIBEXECDIR}/zem)
set(ZEM_CONFDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/zem)
set(ZEM_DATADIR ${CMAKE_INSTALL_FULL_DATADIR}/zem)
set(ZEM_DEFAULTSDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default)

set(examples_dir ${CMAKE_INSTALL_DOCDIR}/examples)
set(x_bits OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# ---- The settings. The tests load this file too: its place in the build folder is fixed.
configure_file(${ZEM_ROOT}/etc/zem.cfg.sample.in ${ZEM_OUT}/etc/zem.cfg.sample @ONLY)

# ---- The agent
if(TARGET zem)
  install(TARGETS zem RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT zem-agent)
endif()
install(TARGETS zem-proccount
  RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/zem COMPONENT zem-agent)
install(FILES ${ZEM_OUT}/libexec/zem-proclist ${ZEM_OUT}/libexec/zem-cpuusage
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/zem COMPONENT zem-agent)
install(FILES ${ZEM_ROOT}/man/zem.8
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT zem-agent)

# ---- The papers lie as they do in the tree: they refer to one another. The client's manual refers to
# them too, and the package of the agent brings that of the client along.
set(papers zem-agent)
if(TARGET zemctl)
  set(papers zem-client)
endif()
install(FILES ${ZEM_ROOT}/man/zem.cfg.5 ${ZEM_ROOT}/man/zem-scripts.5
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT ${papers})
install(FILES ${ZEM_ROOT}/README.md ${ZEM_ROOT}/SECURITY.md ${ZEM_ROOT}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${papers})
install(FILES ${ZEM_ROOT}/docs/architecture.md ${ZEM_ROOT}/docs/protocol.md
              ${ZEM_ROOT}/docs/security.md ${ZEM_ROOT}/docs/troubleshooting.md
              ${ZEM_ROOT}/docs/performance.md ${ZEM_ROOT}/docs/monitoring.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT ${papers})
install(FILES ${ZEM_ROOT}/docs/pictures/prometheus-console.png
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs/pictures COMPONENT ${papers})

# ---- The client; check_zem is the same program under the name that makes it a plugin.
if(TARGET zemctl)
  install(TARGETS zemctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT zem-client)
  install(FILES ${ZEM_ROOT}/man/zemctl.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT zem-client)
  set(completions ${ZEM_ROOT}/client/completions)
  install(FILES ${completions}/zemctl.bash RENAME zemctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT zem-client)
  install(FILES ${completions}/zemctl.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT zem-client)
  install(FILES ${completions}/_zemctl DESTINATION ${ZEM_ZSHDIR} COMPONENT zem-client)
  # bash and fish look for a file of the command's own name.
  file(MAKE_DIRECTORY ${ZEM_OUT}/links/bash)
  file(CREATE_LINK zemctl ${ZEM_OUT}/links/bash/check_zem SYMBOLIC)
  file(CREATE_LINK zemctl.fish ${ZEM_OUT}/links/check_zem.fish SYMBOLIC)
  install(FILES ${ZEM_OUT}/links/bash/check_zem
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT zem-client)
  install(FILES ${ZEM_OUT}/links/check_zem.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT zem-client)
  install(DIRECTORY ${ZEM_ROOT}/client/checks DESTINATION ${CMAKE_INSTALL_DATADIR}/zem
    COMPONENT zem-client)
  file(RELATIVE_PATH client_from_plugins
    ${CMAKE_INSTALL_PREFIX}/${ZEM_PLUGINDIR} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/zemctl)
  file(MAKE_DIRECTORY ${ZEM_OUT}/links)
  file(CREATE_LINK ${client_from_plugins} ${ZEM_OUT}/links/check_zem SYMBOLIC)
  install(FILES ${ZEM_OUT}/links/check_zem
    DESTINATION ${ZEM_PLUGINDIR} COMPONENT zem-client)
  # Commands for schedulers. Debian's Nagios reads every file of that folder, FreeBSD's none by itself.
  # Icinga's are no settings: a file of its library is read wherever the settings of a node come from.
  get_filename_component(plugin ${ZEM_PLUGINDIR}/check_zem ABSOLUTE BASE_DIR ${CMAKE_INSTALL_PREFIX})
  configure_file(${ZEM_ROOT}/packaging/nagios/zem.cfg.in ${ZEM_OUT}/packaging/nagios/zem.cfg @ONLY)
  if(NOT CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
    set(nagios_place ${CMAKE_INSTALL_FULL_SYSCONFDIR}/nagios-plugins/config RENAME zem.cfg)
  elseif(ZEM_INSTALL_SERVICE)
    set(nagios_place ${ZEM_CONFDIR} RENAME nagios.cfg)
  else()
    set(nagios_place ${ZEM_CONFDIR} RENAME nagios.cfg.sample)
  endif()
  install(FILES ${ZEM_OUT}/packaging/nagios/zem.cfg DESTINATION ${nagios_place} COMPONENT zem-client)
  install(FILES ${ZEM_ROOT}/packaging/icinga2/zem.conf
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icinga2/include/plugins-contrib.d COMPONENT zem-client)
endif()

# ---- The exporter
if(TARGET zem-exporter)
  set(exporter_dir ${CMAKE_INSTALL_DATADIR}/zem-exporter)
  install(TARGETS zem-exporter
    RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT zem-exporter)
  install(FILES ${ZEM_ROOT}/man/zem-exporter.8
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT zem-exporter)
  set(exporter_sample ${ZEM_ROOT}/etc/exporter.yml.sample)
  set(exporter_sample_dir ${exporter_dir})
  if(CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
    # Beside the agent's folder, which may be closed to everybody but the agent.
    set(exporter_sample_dir ${CMAKE_INSTALL_FULL_SYSCONFDIR}/zem-exporter)
    file(READ ${exporter_sample} sample)
    string(REPLACE "/etc/zem/" "${exporter_sample_dir}/" sample "${sample}")
    set(exporter_sample ${ZEM_OUT}/etc/exporter.yml.sample)
    file(WRITE ${exporter_sample} "${sample}")
  endif()
  install(FILES ${exporter_sample} DESTINATION ${exporter_sample_dir} COMPONENT zem-exporter)
  install(DIRECTORY ${ZEM_ROOT}/exporter/prometheus
    DESTINATION ${exporter_dir} COMPONENT zem-exporter)
  if(ZEM_INSTALL_SERVICE AND CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
    file(READ ${ZEM_ROOT}/packaging/freebsd/port/files/zem_exporter.in rc_script)
    string(REPLACE "%%PREFIX%%" "${CMAKE_INSTALL_PREFIX}" rc_script "${rc_script}")
    file(WRITE ${ZEM_OUT}/packaging/rc.d/zem_exporter "${rc_script}")
    install(FILES ${ZEM_OUT}/packaging/rc.d/zem_exporter
      DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/rc.d PERMISSIONS ${x_bits}
      COMPONENT zem-exporter)
  elseif(ZEM_INSTALL_SERVICE)
    configure_file(${ZEM_ROOT}/packaging/systemd/zem-exporter.service.in
      ${ZEM_OUT}/packaging/zem-exporter.service @ONLY)
    install(FILES ${ZEM_OUT}/packaging/zem-exporter.service
      DESTINATION ${ZEM_SYSTEMD_UNITDIR} COMPONENT zem-exporter)
    install(FILES ${ZEM_ROOT}/packaging/sysusers/zem-exporter.conf
      DESTINATION lib/sysusers.d COMPONENT zem-exporter)
    install(FILES ${ZEM_ROOT}/packaging/debian/exporter/default RENAME zem-exporter
      DESTINATION ${ZEM_DEFAULTSDIR} COMPONENT zem-exporter)
  endif()
endif()

# ---- The system's own files
if(CMAKE_SYSTEM_NAME STREQUAL "FreeBSD")
  install(FILES ${ZEM_OUT}/etc/zem.cfg.sample DESTINATION ${ZEM_CONFDIR} COMPONENT zem-agent)
  configure_file(${ZEM_ROOT}/packaging/freebsd/newsyslog/zem.cron.in ${ZEM_OUT}/packaging/zem.cron @ONLY)
  # A package brings samples that it copies once, so that an upgrade overwrites nobody's changes.
  set(newsyslog_name newsyslog.conf.sample)
  set(cron_place ${ZEM_CONFDIR}/zem.cron.sample)
  if(ZEM_INSTALL_SERVICE)
    set(newsyslog_name newsyslog.conf)
    set(cron_place ${CMAKE_INSTALL_FULL_SYSCONFDIR}/cron.d/zem)
    # The port's template serves here as well: one rc script, whoever installs it.
    file(READ ${ZEM_ROOT}/packaging/freebsd/port/files/zem.in rc_script)
    string(REPLACE "%%PREFIX%%" "${CMAKE_INSTALL_PREFIX}" rc_script "${rc_script}")
    file(WRITE ${ZEM_OUT}/packaging/rc.d/zem "${rc_script}")
    install(FILES ${ZEM_OUT}/packaging/rc.d/zem
      DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/rc.d PERMISSIONS ${x_bits} COMPONENT zem-agent)
  endif()
  install(FILES ${ZEM_ROOT}/packaging/freebsd/newsyslog/zem.conf RENAME ${newsyslog_name}
    DESTINATION ${ZEM_CONFDIR} COMPONENT zem-agent)
  get_filename_component(cron_folder ${cron_place} DIRECTORY)
  get_filename_component(cron_name ${cron_place} NAME)
  install(FILES ${ZEM_OUT}/packaging/zem.cron RENAME ${cron_name}
    DESTINATION ${cron_folder} COMPONENT zem-agent)
else()
  set(generated ${ZEM_OUT}/packaging)
  configure_file(${ZEM_ROOT}/packaging/systemd/zem.service.in ${generated}/zem.service @ONLY)
  configure_file(${ZEM_ROOT}/packaging/sysusers/zem.conf.in ${generated}/sysusers/zem.conf @ONLY)
  configure_file(${ZEM_ROOT}/packaging/tmpfiles/zem.conf.in ${generated}/tmpfiles/zem.conf @ONLY)
  configure_file(${ZEM_ROOT}/packaging/logrotate/zem.in ${generated}/logrotate/zem @ONLY)
  # Not in the configuration folder: the server rewrites the settings, so the package must not own
  # them. They are made once from this sample.
  install(FILES ${ZEM_OUT}/etc/zem.cfg.sample DESTINATION ${CMAKE_INSTALL_DATADIR}/zem
    COMPONENT zem-agent)
  install(FILES ${generated}/logrotate/zem
    DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d COMPONENT zem-agent)
  file(GLOB drop_ins ${ZEM_ROOT}/packaging/systemd/drop-ins/*.conf)
  install(FILES ${drop_ins} DESTINATION ${examples_dir} COMPONENT zem-agent)
  # Examples, not conffiles in another package's folder: what gets banned is for the host to decide.
  install(DIRECTORY ${ZEM_ROOT}/packaging/fail2ban DESTINATION ${examples_dir}
    COMPONENT zem-agent)
  if(ZEM_INSTALL_SERVICE)
    install(FILES ${generated}/zem.service DESTINATION ${ZEM_SYSTEMD_UNITDIR} COMPONENT zem-agent)
    install(FILES ${generated}/sysusers/zem.conf DESTINATION lib/sysusers.d COMPONENT zem-agent)
    install(FILES ${generated}/tmpfiles/zem.conf DESTINATION lib/tmpfiles.d COMPONENT zem-agent)
    install(FILES ${ZEM_ROOT}/packaging/debian/default RENAME zem
      DESTINATION ${ZEM_DEFAULTSDIR} COMPONENT zem-agent)
  endif()
endif()
