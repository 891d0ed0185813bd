# Finds the library of digests, as an archive where there is one. Defines the target Nettle::nettle.
find_path(NETTLE_INCLUDE_DIR nettle/sha2.h)
find_library(NETTLE_LIBRARY NAMES libnettle.a nettle)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Nettle REQUIRED_VARS NETTLE_LIBRARY NETTLE_INCLUDE_DIR)
if(Nettle_FOUND AND NOT TARGET Nettle::nettle)
  add_library(Nettle::nettle UNKNOWN IMPORTED)
  set_target_properties(Nettle::nettle PROPERTIES
    IMPORTED_LOCATION "${NETTLE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${NETTLE_INCLUDE_DIR}")
endif()
mark_as_advanced(NETTLE_INCLUDE_DIR NETTLE_LIBRARY)
