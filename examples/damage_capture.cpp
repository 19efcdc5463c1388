// Damages a capture as a network may: it loses, duplicates, reorders, changes and cuts packets, and adds others, by a
// seed. A list of what was done to each packet is written, so that a report can be compared with it.

#include "Capture.h"

#include <map>
#include <random>

namespace {

constexpr std::size_t kDestination = 0; // bytes of the frame that are constant
constexpr std::size_t kSource = 26;     // the IPv4 address that counts
constexpr std::size_t kLongestDelay = 50;

void Damage(const char* from, const char* to, const char* list, std::uint32_t seed)
{
    examples::CaptureReader capture(from);
    std::vector<std::string> packets;
    for (std::string packet; capture.Next(packet);) packets.push_back(packet);
    examples::CaptureWriter damaged(to);
    std::ofstream done(list);
    std::mt19937 random(seed);
    std::multimap<std::size_t, std::string> late; // by the packet behind which each one comes
    const auto note = [&](const char* what, std::size_t number) { done << what << ' ' << number << '\n'; };
    for (std::size_t i = 0; i < packets.size(); ++i) {
        std::string packet = packets[i];
        const bool isFromSender = packet.size() > kSource + 4; // the others pass unchanged
        bool isThere = true;
        const auto flip = [&](std::size_t at) { packet[at + random() % 4] ^= static_cast<char>(1 << random() % 8); };
        switch (isFromSender ? random() % 500 : 500) {
        case 0:
            note("lost", i);
            isThere = false;
            break;
        case 1:
            note("doubled", i);
            damaged.Write(i, packet);
            break;
        case 2:
            if (packets.size() - i <= 2 * kLongestDelay) break;
            note("late", i);
            late.emplace(i + 10 + random() % (kLongestDelay - 10), packet);
            isThere = false;
            break;
        case 3:
            note("changed", i);
            flip(kDestination);
            break;
        case 4:
            note("broken", i);
            flip(kSource);
            break;
        case 5:
            note("cut", i);
            packet.resize(kSource);
            break;
        case 6:
            note("foreign", i); // an unrelated packet
            damaged.Write(i, std::string(60, static_cast<char>(random())));
            break;
        default: break;
        }
        if (isThere) damaged.Write(i, packet);
        for (const auto& [at, delayed] : late) {
            if (at == i) damaged.Write(i, delayed);
        }
        late.erase(i);
    }
    damaged.Close();
    if (!done.flush()) throw std::runtime_error(std::string("cannot write \"") + list + "\"");
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("damage-capture", [&] {
        if (argc != 5) throw examples::UsageError("usage: damage-capture CAPTURE-FILE DAMAGED-FILE LIST-FILE SEED");
        Damage(argv[1], argv[2], argv[3], examples::ReadNumber("the seed", argv[4]));
        std::cout << "the list of changes is in " << argv[3] << '\n';
    });
}
