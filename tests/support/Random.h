#ifndef ZOR_COMMON_TESTS_RANDOM_H
#define ZOR_COMMON_TESTS_RANDOM_H

/// \file
/// Repeatable random inputs: every test that draws them names its seed.

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace zor::common::test {

class Random {
public:
    explicit Random(std::uint64_t seed) : mEngine(seed) {}

    std::uint64_t Number() { return mEngine(); }
    std::size_t Below(std::size_t limit) { return mEngine() % limit; }

    /// A byte that is one of the extremes half of the time, so that carries run.
    unsigned char Byte()
    {
        static constexpr unsigned char kExtremes[] = {0x00, 0xff, 0x01, 0x7f, 0x80, 0xfe};
        return Below(2) == 0 ? kExtremes[Below(6)] : static_cast<unsigned char>(Number());
    }

    /// \a text after up to three insertions, deletions and replacements from \a alphabet.
    std::string Mutated(std::string text, std::string_view alphabet)
    {
        for (std::size_t edits = Below(4); edits > 0; --edits) {
            const std::size_t at = Below(text.size() + 1);
            const char c = alphabet[Below(alphabet.size())];
            switch (Below(3)) {
            case 0: text.insert(at, 1, c); break;
            case 1: text.erase(at, 1); break;
            default:
                if (at < text.size()) text[at] = c;
            }
        }
        return text;
    }

private:
    std::mt19937_64 mEngine;
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_RANDOM_H
