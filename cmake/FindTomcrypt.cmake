# Finds the cipher library. Defines the target Tomcrypt::tomcrypt. Its archive is preferred: of that one
# cipher is linked, about 9 KiB, while the shared library brings two more libraries for numbers that
# nobody here reckons with.
find_path(TOMCRYPT_INCLUDE_DIR tomcrypt.h)
find_library(TOMCRYPT_LIBRARY NAMES libtomcrypt.a tomcrypt)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Tomcrypt REQUIRED_VARS TOMCRYPT_LIBRARY TOMCRYPT_INCLUDE_DIR)
if(Tomcrypt_FOUND AND NOT TARGET Tomcrypt::tomcrypt)
  add_library(Tomcrypt::tomcrypt UNKNOWN IMPORTED)
  set_target_properties(Tomcrypt::tomcrypt PROPERTIES
    IMPORTED_LOCATION "${TOMCRYPT_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${TOMCRYPT_INCLUDE_DIR}")
endif()
mark_as_advanced(TOMCRYPT_INCLUDE_DIR TOMCRYPT_LIBRARY)
