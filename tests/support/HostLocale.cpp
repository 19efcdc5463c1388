/// \file
/// Linked into every test program: a host program with locales of its own. Before main(), the C library gets the one
/// that the environment variable ZOR_TEST_LOCALE names, if it is set, and C++ one that is like no other.

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <string>
#include <vector>

namespace {

struct Numbers : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

/// White space are "." and ":" and no longer blanks and newlines.
struct Blanks : std::ctype<char> {
    Blanks() : ctype(Table()) {}

    static const mask* Table()
    {
        static std::vector<mask> table(classic_table(), classic_table() + table_size);
        table[' '] = table['\n'] = cntrl;
        table['.'] = table[':'] = space;
        return table.data();
    }
};

[[maybe_unused]] const bool kInstalled = [] {
    const char* const name = std::getenv("ZOR_TEST_LOCALE");
    if (!name) return false;
    std::locale::global(std::locale(std::locale(std::locale::classic(), new Numbers), new Blanks));
    if (!std::setlocale(LC_ALL, name) || *std::localeconv()->decimal_point != ',') {
        std::fprintf(stderr, "The locale %s is not there, or has no decimal comma.\n", name);
        std::_Exit(EXIT_FAILURE);
    }
    return true;
}();

} // namespace
