# Builds a wheel of SOURCE with the packages of the system and without a network, and uses it in a virtual environment that
# has nothing else.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
execute_process(
    COMMAND /usr/bin/python3 -c "from importlib.util import find_spec\nexit(not all(map(find_spec, ('pip', 'skbuild', 'venv'))))"
    RESULT_VARIABLE status)
if(status)
    message("python3-pip, python3-skbuild or python3-venv is not installed")
    return()
endif()
fresh_directory(${SCRATCH})
file(COPY ${SOURCE}/ DESTINATION ${SCRATCH}/sources PATTERN build EXCLUDE PATTERN .git EXCLUDE)
set(ENV{CMAKE_BUILD_PARALLEL_LEVEL} 1)
run(/usr/bin/python3 -m pip wheel --quiet --no-build-isolation --no-deps --no-index --wheel-dir ${SCRATCH}
    ${SCRATCH}/sources)
file(GLOB wheel ${SCRATCH}/zor_common-${VERSION}-*.whl)
run(/usr/bin/python3 -m venv ${SCRATCH}/environment)
set(python ${SCRATCH}/environment/bin/python)
run(${python} -m pip install --quiet --no-index --no-deps ${wheel})
capture(version ${python} -c "import zor_common\nprint(zor_common.__version__, zor_common.Template('@x(1,0,1,1)')[2].decode())"
    WORKING_DIRECTORY ${SCRATCH})
check_equal("version of zor_common" "${version}" "${VERSION} 3")
file(GLOB_RECURSE typed ${SCRATCH}/environment/lib/*/site-packages/zor_common/py.typed)
if(NOT typed)
    message(SEND_ERROR "py.typed is missing")
endif()
