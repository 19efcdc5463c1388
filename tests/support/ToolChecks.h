#ifndef ZOR_COMMON_TESTS_TOOL_CHECKS_H
#define ZOR_COMMON_TESTS_TOOL_CHECKS_H

/// \file
/// Texts that zor-packets reads, checked for what may come of them: layers, recipes and the captures that hold them.

#include "Random.h"

#include <Errors.h>
#include <Layers.h>
#include <Records.h>
#include <Settings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace zor::common::test {

/// A text of layers makes a frame, or is refused at a place of the text.
inline void CheckLayers(Random& random)
{
    static constexpr const char* kPieces[] = {"eth",
                                              "vlan(",
                                              "ipv4(src=",
                                              "ipv6(dst=",
                                              "udp(sport=",
                                              "tcp(flags=",
                                              "number(",
                                              "bytes(",
                                              "pad(",
                                              "cross(",
                                              "udp.sport",
                                              "ipv4.src",
                                              "10.0.0.1..10.0.0.9",
                                              "10.0.0.0/30",
                                              "2001:db8::/126",
                                              "1..5",
                                              "0..",
                                              "9..1",
                                              "1|2|3",
                                              "+2",
                                              "*3",
                                              "~7",
                                              "0x10",
                                              ")",
                                              ",",
                                              "/",
                                              "=",
                                              "\"a b\"",
                                              "syn+ack",
                                              " ",
                                              "text=",
                                              "ff00",
                                              "gre(key=",
                                              "vxlan(",
                                              "icmp(id=",
                                              "fill(",
                                              "18446744073709551615"};
    const std::string text = random.TextBy([&] {
        std::string pieces = random.Below(2) == 0 ? "eth / ipv4 / udp" : "";
        for (std::size_t n = random.Below(12); n > 0; --n) pieces += kPieces[random.Below(std::size(kPieces))];
        return random.Below(4) == 0 ? random.Mutated(pieces, "()/=,|.:\"~*+ 0") : pieces;
    });
    try {
        const FrameBuilder frame = tools::ReadLayers(text);
        const CompiledTemplate packets = frame.Compile();
        ASSERT_EQ(packets.GetMaxSize(), frame.GetSize()) << text;
        ASSERT_EQ(tools::ReadLayers(text).Compile(), packets) << text;
    } catch (const tools::PlacedError& error) {
        const std::string shown = error.Show();
        ASSERT_EQ(std::count(shown.begin(), shown.end(), '\n'), 2) << text;
        ASSERT_NE(shown.find('^'), std::string::npos) << text;
        ASSERT_NE(std::string(error.what()), "");
    }
}

inline std::string SomeBytes(Random& random, std::size_t limit)
{
    return random.TextBy([&] {
        std::string bytes(random.Below(limit), '\0');
        for (char& c : bytes) c = static_cast<char>(random.Byte());
        return bytes;
    });
}

/// Settings come back from their recipe, also out of a capture; and whatever is read as either is refused in words or taken.
inline void CheckRecipe(Random& random)
{
    tools::Settings settings;
    settings.Add("template", SomeBytes(random, 60));
    for (std::size_t n = random.Below(5); n > 0; --n) {
        settings.Add(tools::Settings::kNames[random.Below(std::size(tools::Settings::kNames))], SomeBytes(random, 9));
    }
    const std::string recipe = settings.GetRecipe();
    ASSERT_EQ(tools::Settings::ReadRecipe(recipe, "x").GetRecipe(), recipe);
    std::string file = tools::Records(tools::Format::Pcapng, false, false, recipe).GetHeader();
    ASSERT_EQ(tools::FindRecipe(file, "x"), recipe);
    const auto read = [](const std::string& bytes) {
        try {
            if (const auto found = tools::FindRecipe(bytes, "x")) tools::Settings::ReadRecipe(*found, "x");
            tools::Settings::ReadRecipe(bytes, "x");
        } catch (const tools::InputError&) {
        }
    };
    for (std::size_t n = random.Below(3) + 1; n > 0; --n) {
        file[random.Below(file.size())] = static_cast<char>(random.Below(256));
        read(file);
    }
    file.resize(random.Below(file.size()));
    read(file);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_TOOL_CHECKS_H
