# SPDX-License-Identifier: BSD-2-Clause
# Debian packages zem-agent, zem-client and zem-exporter by CPack. Include after ZemInstall, last of all:
#
#   cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr && cmake --build --preset release
#   cd build/release && cpack -G DEB
#
# The prefix stands in the generated unit and settings, so it is checked here instead of being
# changed behind their back at packaging time.

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr" OR NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
  message(STATUS "Debian packages: not set up (they need Linux and CMAKE_INSTALL_PREFIX=/usr)")
  return()
endif()

set(deb ${ZEM_ROOT}/packaging/debian)
set(control ${PROJECT_BINARY_DIR}/packaging/deb)
set(deb_release 1)

set(components zem-agent)
if(TARGET zemctl)
  list(APPEND components zem-client)
endif()
if(TARGET zem-exporter)
  list(APPEND components zem-exporter)
endif()

# Each package brings its copyright and its changelog; a plain install needs neither.
foreach(component ${components})
  install(FILES ${deb}/copyright DESTINATION share/doc/${component}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(FILES ${deb}/changelog RENAME changelog.Debian DESTINATION share/doc/${component}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  configure_file(${deb}/lintian-overrides.in ${control}/overrides/${component} @ONLY)
  install(FILES ${control}/overrides/${component} DESTINATION share/lintian/overrides
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zem)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Ovrant")
set(CPACK_PACKAGE_CONTACT "The zem authors <support@ovrant.example>")
# Empty on purpose: each component's description starts with a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://ovrant.example/")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/ZemPackageStage.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${deb_release})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

# The scripts name the folders of this build.
foreach(script postinst prerm postrm conffiles client/postrm client/conffiles exporter/postinst
        exporter/prerm exporter/postrm exporter/conffiles)
  configure_file(${deb}/${script}.in ${control}/${script} @ONLY)
endforeach()

set(CPACK_DEBIAN_ZEM-AGENT_PACKAGE_NAME zem-agent)
set(CPACK_DEBIAN_ZEM-AGENT_PACKAGE_DEPENDS
  "zem-client (>= ${PROJECT_VERSION}-${deb_release}), adduser")
set(CPACK_DEBIAN_ZEM-AGENT_PACKAGE_RECOMMENDS "logrotate")
set(CPACK_DEBIAN_ZEM-AGENT_PACKAGE_CONTROL_EXTRA
  ${control}/postinst ${control}/prerm ${control}/postrm ${control}/conffiles)
set(CPACK_COMPONENT_ZEM-AGENT_DESCRIPTION
"host monitoring agent for Quorvel
A small daemon that lets a network monitoring server check this host from the
inside: disk space, files, processes, CPU usage, scripts, TCP and UDP
services. Requests are enciphered under a password shared by both sides; the
agent keeps no schedule and no thresholds of its own.

A fresh installation listens on port 1055, admits connections from this host
only, has a random password and runs no program that a request names.")

set(CPACK_DEBIAN_ZEM-CLIENT_PACKAGE_NAME zem-client)
set(CPACK_DEBIAN_ZEM-CLIENT_PACKAGE_SUGGESTS "nagios4 | icinga2")
set(CPACK_DEBIAN_ZEM-CLIENT_PACKAGE_CONTROL_EXTRA
  ${control}/client/postrm ${control}/client/conffiles)
set(CPACK_COMPONENT_ZEM-CLIENT_DESCRIPTION
"client and monitoring plugin for the zem agent
zemctl sends any request to a zem agent and prints the reply as a table, as
JSON or as it is; it manages the agent of this host and explains why a
connection fails. Under the name check_zem it is a plugin with thresholds and
performance data for servers that follow the Monitoring Plugins rules, with
the definitions of its commands for Nagios and Icinga 2.")

set(CPACK_DEBIAN_ZEM-EXPORTER_PACKAGE_NAME zem-exporter)
set(CPACK_DEBIAN_ZEM-EXPORTER_PACKAGE_DEPENDS adduser)
# The ready checks are files of the client.
set(CPACK_DEBIAN_ZEM-EXPORTER_PACKAGE_RECOMMENDS zem-client)
set(CPACK_DEBIAN_ZEM-EXPORTER_PACKAGE_SUGGESTS prometheus)
set(CPACK_DEBIAN_ZEM-EXPORTER_PACKAGE_CONTROL_EXTRA
  ${control}/exporter/postinst ${control}/exporter/prerm ${control}/exporter/postrm
  ${control}/exporter/conffiles)
set(CPACK_COMPONENT_ZEM-EXPORTER_DESCRIPTION
"metrics of zem agents for Prometheus
One process that Prometheus asks about a whole fleet: it sends the enciphered
requests of a check to the agent that a scrape names and answers with metrics.
It asks nobody that its configuration does not list, and comes with a scrape
configuration, alert rules and a console page.")

include(CPack)
