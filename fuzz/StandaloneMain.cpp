/// \file
/// Runs a fuzz target on the inputs of a corpus, the file named on the command line, without a fuzzer.

#include "../tests/support/Rows.h"
#include "Fuzz.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s corpus.txt\n", argv[0]);
        return EXIT_FAILURE;
    }
    std::size_t inputs = 0;
    for (const std::vector<std::string>& row : zor::common::test::ReadRows(argv[1])) {
        const std::string& bytes = row.front(); // a tab would be written as \09
        std::printf("line %zu\n", ++inputs);    // the last one named is the one that fails
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }
    return inputs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
