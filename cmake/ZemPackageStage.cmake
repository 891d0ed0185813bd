# SPDX-License-Identifier: BSD-2-Clause
# Run by CPack between staging and packing: manual pages and changelogs are shipped compressed,
# without a time stamp so that the same tree gives the same package.

file(GLOB_RECURSE pages
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man*/*
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog.Debian
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/CHANGELOG.md)
list(FILTER pages EXCLUDE REGEX "\\.gz$")
if(pages)
  execute_process(COMMAND gzip -9 -n -f ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
