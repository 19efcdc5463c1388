# Reads zor_common_version from the header, so that a build without CMake has the same version and needs nothing made.
set(header ${CMAKE_CURRENT_LIST_DIR}/../common/Version.h)
file(STRINGS ${header} zor_common_version REGEX "_VERSION_(MAJOR|MINOR|PATCH) [0-9]")
list(TRANSFORM zor_common_version REPLACE "^#define [A-Z_]+ ([0-9]+).*$" "\\1")
list(JOIN zor_common_version "." zor_common_version)
# A change of the numbers is a change of the build.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
