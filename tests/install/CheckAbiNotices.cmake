# Fails unless the check of the ABI notices a class that grows, wherever a class with exported functions holds it.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
fresh_directory(${SCRATCH})
file(WRITE ${SCRATCH}/exported.map "{ global: extern \"C++\" { zor::*; }; local: *; };\n")
file(WRITE ${SCRATCH}/library.cpp [[
#include <array>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>
namespace zor::common {
struct Element {
    unsigned long values[SIZE];
};
class Holder {
public:
    void Use();

private:
    MEMBER held;
};
void Holder::Use() { Holder copied(static_cast<Holder&&>(*this)); }
} // namespace zor::common
]])

function(build size member)
    run(${CXX} -std=c++17 -g -fPIC -shared -Wl,-soname,libholder.so.1 -Wl,--version-script=exported.map
        -DSIZE=${size} -DMEMBER=${member} library.cpp -o libholder-${size}.so WORKING_DIRECTORY ${SCRATCH})
endfunction()

function(check_abi size expected message)
    execute_process(COMMAND ${CMAKE_COMMAND} -DLIBRARY=${SCRATCH}/libholder-${size}.so -DBASELINE=${SCRATCH}/1.abi
            -DCURRENT=${SCRATCH}/current.abi ${ARGN} -P ${SOURCE}/abi/CheckAbi.cmake
        RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(status)
        set(status 1)
    endif()
    if(NOT status EQUAL expected OR NOT output MATCHES "${message}")
        message(SEND_ERROR "${member} of ${size}: ${status} in place of ${expected}:\n${output}")
    endif()
endfunction()

foreach(member IN ITEMS "std::vector<Element>" "std::vector<std::vector<Element>>" "std::vector<const Element*>"
        "std::optional<Element>" "std::vector<std::optional<Element>>" "std::vector<std::pair<int,Element>>"
        "std::array<Element,2>" "std::vector<std::array<Element,2>>" "std::unique_ptr<Element>"
        "std::vector<std::unique_ptr<Element>>")
    build(1 ${member})
    build(2 ${member})
    check_abi(1 0 "" -DREFRESH=ON)
    check_abi(1 0 "")
    check_abi(2 1 "breaks the ABI")
endforeach()
foreach(member IN ITEMS "std::map<std::string,Element>" "std::set<const Element*>" "std::list<Element>"
        "std::unordered_map<std::string,std::vector<Element>>")
    build(1 ${member})
    check_abi(1 1 "does not see what this container holds")
endforeach()
