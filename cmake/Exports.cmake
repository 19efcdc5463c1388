# The linker keeps what is not zor::common's out of the dynamic symbols: instances of std templates are weak and, where
# the standard library's namespace is visible, exported whatever the sources say.
if(BUILD_SHARED_LIBS)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/zor-common.map)
    configure_file(cmake/zor-common.map.in ${script} @ONLY)
    target_link_options(zor-common PRIVATE LINKER:--version-script=${script})
    set_target_properties(zor-common PROPERTIES LINK_DEPENDS ${script})
endif()
