# Where a build stands leaves no trace in it: names of files are relative to the top of the sources. A debug build keeps
# them whole, so that a debugger finds the sources from anywhere.
target_compile_options(zor-common PRIVATE $<$<NOT:$<CONFIG:Debug>>:
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
