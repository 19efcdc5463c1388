# The module against the tool and against what others say. A test without its packages is skipped, and says so.
function(zor_common_python_test name modules)
    cmake_parse_arguments(PARSE_ARGV 2 test "" "LABEL" "COMMAND")
    add_test(NAME ${name}
        COMMAND ${Python_EXECUTABLE} -B ${CMAKE_CURRENT_SOURCE_DIR}/tests/run.py ${modules} -B ${test_COMMAND})
    set(paths PYTHONPATH=${CMAKE_CURRENT_BINARY_DIR} PYTHONDONTWRITEBYTECODE=1)
    if(TARGET zor-packets)
        list(APPEND paths ZOR_PACKETS=$<TARGET_FILE:zor-packets>)
    endif()
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${paths}" SKIP_REGULAR_EXPRESSION "is not installed" LABELS "${test_LABEL}" TIMEOUT 120)
endfunction()

foreach(part IN ITEMS audit templates values)
    zor_common_python_test(python/${part} pytest,hypothesis,numpy
        COMMAND -m pytest -q -rs -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_${part}.py)
endforeach()

# Dask moves the tasks. Two workers and the scheduler are processes of their own.
zor_common_python_test(python/distributed pytest,numpy,distributed
    COMMAND -m pytest -q -rs -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_distributed.py)

# The import, and what its docstring shows.
add_test(NAME python/import
    COMMAND ${Python_EXECUTABLE} -B -c "import doctest, sys, zor_common; sys.exit(doctest.testmod(zor_common).failed)")
set_tests_properties(python/import PROPERTIES ENVIRONMENT PYTHONPATH=${CMAKE_CURRENT_BINARY_DIR})

# mypy compares the stubs with what there is; Scapy takes frames apart, and its packets are read back.
zor_common_python_test(judges/stubtest mypy LABEL judges COMMAND -m mypy.stubtest zor_common)
set_tests_properties(judges/stubtest PROPERTIES WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
zor_common_python_test(judges/scapy-python pytest,scapy LABEL judges
    COMMAND -m pytest -q -rs -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/tests/judge_scapy.py)

# Each block of the guide is run, where it may write files.
set(scratch ${CMAKE_CURRENT_BINARY_DIR}/scratch)
file(MAKE_DIRECTORY ${scratch})
zor_common_python_test(guides/python numpy,matplotlib,scapy,distributed LABEL judges
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tests/check_guide.py ${PROJECT_SOURCE_DIR}/docs/python.md)
set_tests_properties(guides/python PROPERTIES WORKING_DIRECTORY ${scratch}
    ENVIRONMENT "PYTHONPATH=${CMAKE_CURRENT_BINARY_DIR}:${PROJECT_SOURCE_DIR}/examples;PYTHONDONTWRITEBYTECODE=1")
