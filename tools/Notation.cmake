# The notation of frames in one line, which the tool and the Python module read by the same code.
include_guard(GLOBAL)

add_library(zor-packets-notation STATIC
    ${CMAKE_CURRENT_LIST_DIR}/Layers.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Quantities.cpp)
target_link_libraries(zor-packets-notation PUBLIC zor::common)
target_include_directories(zor-packets-notation PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_features(zor-packets-notation PRIVATE cxx_std_20)
target_compile_options(zor-packets-notation PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
set_target_properties(zor-packets-notation PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
