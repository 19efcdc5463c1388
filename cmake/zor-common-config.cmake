# find_package(zor-common CONFIG) gives the target zor::common.
include(${CMAKE_CURRENT_LIST_DIR}/zor-common-targets.cmake)
