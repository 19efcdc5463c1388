# find_package(zor-common CONFIG) gives the target zor::common. There are no components to ask for.
foreach(component IN LISTS zor-common_FIND_COMPONENTS)
    if(zor-common_FIND_REQUIRED_${component})
        set(zor-common_FOUND FALSE)
        set(zor-common_NOT_FOUND_MESSAGE "zor-common has no component \"${component}\"")
        return()
    endif()
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/zor-common-targets.cmake)
