#ifndef ZOR_COMMON_TESTS_RANDOM_H
#define ZOR_COMMON_TESTS_RANDOM_H

/// \file
/// Random inputs that are the same in every run of one seed, or those that a fuzzer chooses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

namespace zor::common::test {

/// What a check draws its inputs from: a generator, or the bytes of a fuzzer, behind which everything is 0.
class Random {
public:
    explicit Random(std::uint64_t seed) : mEngine(seed + 1000 * RunSeed()) {}
    Random(const unsigned char* bytes, std::size_t size)
        : mBytes(reinterpret_cast<const char*>(bytes), size), mFromBytes(true)
    {
    }

    /// The environment variable ZOR_TEST_SEED: with another number than 0, all tests draw other inputs.
    static std::uint64_t RunSeed()
    {
        const char* const text = std::getenv("ZOR_TEST_SEED");
        return text ? std::strtoull(text, nullptr, 10) : 0;
    }

    /// How many of the inputs drawn were valid, by what a check has told.
    int accepted = 0;

    /// Whether there is more to draw.
    bool HasMore() const { return !mFromBytes || !mBytes.empty(); }

    std::uint64_t Number() { return mFromBytes ? Take(8) : mEngine(); }

    /// Takes no more of a fuzzer's bytes than the limit needs, so that a change of one changes one thing.
    std::size_t Below(std::size_t limit)
    {
        return (!mFromBytes ? mEngine() : Take(limit <= 0x100 ? 1 : limit <= 0x10000 ? 2 : 8)) % limit;
    }

    /// A byte that is one of the extremes half of the time, so that carries run.
    unsigned char Byte()
    {
        static constexpr unsigned char kExtremes[] = {0x00, 0xff, 0x01, 0x7f, 0x80, 0xfe};
        return Below(2) == 0 ? kExtremes[Below(6)] : static_cast<unsigned char>(Below(256));
    }

    std::string Text(std::string_view alphabet, std::size_t size)
    {
        std::string text(size, '\0');
        for (char& c : text) c = alphabet[Below(alphabet.size())];
        return text;
    }

    /// A text that \a draw makes. A fuzzer has texts of its own, each up to a byte that ends it: they can be read and
    /// edited as texts, and stay what they are when \a draw() changes.
    template <class Draw>
    std::string TextBy(Draw draw)
    {
        if (!mFromBytes) return draw();
        const std::string text(mBytes.substr(0, std::min({mBytes.find(kTextEnd), mBytes.size(), kMaxText})));
        mBytes.remove_prefix(std::min(text.size() + 1, mBytes.size()));
        return text;
    }

    /// \a text after up to three insertions, deletions and replacements from \a alphabet, or a fuzzer's own.
    std::string Mutated(const std::string& text, std::string_view alphabet)
    {
        return TextBy([&] { return Edited(text, alphabet); });
    }

private:
    static constexpr char kTextEnd = '\x1e'; // a record separator, which means nothing in any text
    static constexpr std::size_t kMaxText = 1000;

    std::string Edited(std::string text, std::string_view alphabet)
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

    std::uint64_t Take(std::size_t count)
    {
        std::uint64_t number = 0;
        for (; count > 0 && !mBytes.empty(); --count, mBytes.remove_prefix(1)) {
            number = number << 8 | static_cast<unsigned char>(mBytes.front());
        }
        return number;
    }

    std::mt19937_64 mEngine;
    std::string_view mBytes;
    bool mFromBytes = false;
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_RANDOM_H
