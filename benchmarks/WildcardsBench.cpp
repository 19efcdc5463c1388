#include "Families.h"
#include "Rows.h"

#include <common/CompiledTemplate.h>
#include <common/TemplateCheck.h>
#include <common/Wildcards.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string_view>
#include <tuple>

#if HAVE_ABSL
#include <absl/strings/escaping.h>
#endif
#if HAVE_CTEMPLATE
#include <ctemplate/template.h>
#endif
#if HAVE_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif
#if HAVE_GMP
#include <gmp.h>
#endif

namespace zor::common::bench {

namespace {

/// Strings to write into, used again and again. How fast a text is copied depends on where its memory starts in a cache
/// line, which is luck; so there is one string for each place, and they take turns.
class Texts {
public:
    explicit Texts(std::size_t size)
    {
        std::vector<std::string> misplaced;
        for (std::size_t place = 0; place < mTexts.size(); ++place) {
            for (std::size_t extra = 0;; extra += 16) {
                mTexts[place].reserve(std::max<std::size_t>(size, 32) + extra);
                if (reinterpret_cast<std::uintptr_t>(mTexts[place].data()) % 64 == 16 * place) break;
                misplaced.push_back(std::move(mTexts[place]));
                mTexts[place] = std::string();
            }
        }
    }

    std::string& Next() { return mTexts[mNext++ % mTexts.size()]; }

private:
    std::array<std::string, 4> mTexts;
    unsigned int mNext = 0;
};

/// The next value at each call, whatever the input.
class Next {
public:
    explicit Next(const std::string& templ) : mWildcards(templ, "@"), mTexts(std::make_shared<Texts>(templ.size())) {}

    const std::string& operator()(std::uint32_t)
    {
        std::string& text = mTexts->Next();
        mWildcards.GetNextValue(text);
        return text;
    }

private:
    Wildcards mWildcards;
    std::shared_ptr<Texts> mTexts; ///< Not copied, as copies lie elsewhere.
};

/// The value at the index that comes in, plus one, so that a peer which counts its calls gives the same.
class At {
public:
    explicit At(const std::string& templ) : mWildcards(templ, "@"), mTexts(std::make_shared<Texts>(templ.size())) {}

    const std::string& operator()(std::uint32_t index)
    {
        std::string& text = mTexts->Next();
        mWildcards.GetValueAt(static_cast<int>(index + 1), text, false);
        return text;
    }

private:
    Wildcards mWildcards;
    std::shared_ptr<Texts> mTexts;
};

/// The same by a compiled template, into a buffer.
class CompiledAt {
public:
    explicit CompiledAt(const std::string& templ) : mCompiled(templ), mTexts(std::make_shared<Texts>(templ.size())) {}

    std::string_view operator()(std::uint32_t index)
    {
        std::string& text = mTexts->Next();
        text.resize(mCompiled.GetMaxSize());
        auto* const out = reinterpret_cast<unsigned char*>(text.data());
        return std::string_view(text).substr(0, mCompiled.Render(index + 1, out, text.size()));
    }

private:
    CompiledTemplate mCompiled;
    std::shared_ptr<Texts> mTexts;
};

/// What a peer writes for the same index.
template <class Write>
class ByIndex {
public:
    ByIndex(Write write, std::size_t size) : mWrite(std::move(write)), mTexts(std::make_shared<Texts>(size)) {}

    const std::string& operator()(std::uint32_t index)
    {
        std::string& text = mTexts->Next();
        mWrite(index + 1, text);
        return text;
    }

private:
    Write mWrite;
    std::shared_ptr<Texts> mTexts;
};

/// Adds the rows of a template, against a peer that writes the value of an index into a string. A peer that steps counts
/// its calls. The compiled template is set beside Wildcards.
template <class Write>
void Rows(const std::string& name, double nextAtMost, double atAtMost, const std::string& templ, const char* peerName,
          std::size_t inputs, Write write, PeerKind kind = PeerKind::Library)
{
    const ByIndex<Write> byPeer(write, templ.size());
    Row("wildcards next, " + name, nextAtMost, Steps(inputs), Next(templ))
        .Against(
            peerName, [peer = byPeer, next = 0u](auto) mutable -> const std::string& { return peer(next++); }, kind);
    Row("wildcards at index, " + name, atAtMost, Steps(inputs), At(templ)).Against(peerName, byPeer, kind);
    Row("compiled template at index, " + name, 1.0, Steps(inputs), CompiledAt(templ)).Beside("Wildcards", At(templ));
}

/// Letters and blanks, as many as asked for.
std::string Filler(std::size_t size)
{
    std::string text;
    while (text.size() < size) text += "field of a packet, ";
    text.resize(size);
    return text;
}

/// \a count times \a expr with literal text between, of \a size characters in all where each value takes \a width.
std::string Many(int count, const std::string& expr, std::size_t width, std::size_t size)
{
    const std::size_t piece = size / static_cast<std::size_t>(count) - width;
    const std::string filler = Filler(size);
    std::string templ;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) templ += filler.substr(piece * i, piece) + expr;
    return templ;
}

/// What a program without templates keeps: the numbers of a counter, known when it runs as those of a template are.
struct Counter {
    std::uint32_t start;
    std::uint32_t count;

    std::uint32_t At(std::uint32_t index) const { return start + index % count; }
};

void FormatRows()
{
#if HAVE_FMT
    Rows("decimal counter, 20 bytes", 0.6, 0.6, "counter: @x(1,50000,1,5) up\n", "{fmt}", kInputs,
         [counter = Counter{1, 50000}](std::uint32_t index, std::string& out) {
             out.clear();
             fmt::format_to(std::back_inserter(out), FMT_COMPILE("counter: {:05} up\n"), counter.At(index));
         });
    Rows("ipv4 counter", 0.8, 0.6, "@$(0A000001,50000,00000001,ipv4)", "{fmt}", kInputs,
         [counter = Counter{0x0a000001, 50000}](std::uint32_t index, std::string& out) {
             const std::uint32_t address = counter.At(index);
             out.clear();
             fmt::format_to(std::back_inserter(out), FMT_COMPILE("{}.{}.{}.{}"), address >> 24, address >> 16 & 0xff,
                            address >> 8 & 0xff, address & 0xff);
         });
    const auto many = [](int count, std::size_t size) {
        const std::size_t piece = size / static_cast<std::size_t>(count) - 5;
        return [text = Filler(size), counters = std::vector<Counter>(static_cast<std::size_t>(count), {1, 50000}),
                piece](std::uint32_t index, std::string& out) {
            out.clear();
            const char* literal = text.data();
            for (const Counter& counter : counters) {
                out.append(literal, piece);
                literal += piece;
                fmt::format_to(std::back_inserter(out), FMT_COMPILE("{:05}"), counter.At(index));
            }
        };
    };
    Rows("12 expressions, 300 bytes", 0.9, 0.9, Many(12, "@x(1,50000,1,5)", 5, 300), "{fmt}", kInputs, many(12, 300));
    Rows("200 expressions, 64 KiB", 0.8, 0.8, Many(200, "@x(1,50000,1,5)", 5, 65536), "{fmt}", InputCount(65536),
         many(200, 65536));
#else
    for (const char* row :
         {"decimal counter, 20 bytes", "ipv4 counter", "12 expressions, 300 bytes", "200 expressions, 64 KiB"}) {
        ReportMissing(row, "{fmt}");
        ReportSkipped(row);
    }
#endif
}

/// A packet of 1,500 bytes with four counters of four bytes, against a copy of the bytes that is patched.
void PacketRows()
{
    std::string templ = "@h";
    for (int i = 0; i < 4; ++i) templ += std::string(742, '5') + "@$(00000001,50000,00000001,big)";
    std::string packet;
    for (int i = 0; i < 4; ++i) packet += std::string(371, '\x55') + std::string(4, '\0');
    Rows(
        "hex template, 4 counters, 1,500 bytes", 1.6, 1.6, templ, "patched copy", kInputs,
        [packet, counters = std::vector<Counter>(4, {1, 50000})](std::uint32_t index, std::string& out) {
            out = packet;
            char* at = out.data() + 371;
            for (const Counter& counter : counters) {
                const std::uint32_t number = __builtin_bswap32(counter.At(index));
                std::memcpy(at, &number, 4);
                at += 375;
            }
        },
        PeerKind::Baseline);
}

#if HAVE_GMP && HAVE_ABSL
/// A number that is stepped by GMP and written by absl, the way to its bytes by hand.
class WideNumber {
public:
    /// \param start  digits, as many as of the step.
    WideNumber(const std::string& start, const std::string& step)
        : mNumber(Limbs(start)), mStep(Limbs(step)), mBytes(8 * mNumber.size(), '\0'), mSize(start.size() / 2)
    {
    }

    const std::string& operator()(std::uint32_t)
    {
        const std::size_t count = mNumber.size();
        mpn_add_n(mNumber.data(), mNumber.data(), mStep.data(), static_cast<mp_size_t>(count));
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t firstByteLow = __builtin_bswap64(mNumber[i]);
            std::memcpy(mBytes.data() + 8 * (count - 1 - i), &firstByteLow, 8);
        }
        mText = absl::BytesToHexString({mBytes.data() + mBytes.size() - mSize, mSize});
        return mText;
    }

private:
    static std::vector<mp_limb_t> Limbs(const std::string& digits)
    {
        std::vector<mp_limb_t> limbs((digits.size() + 15) / 16);
        const std::string whole = std::string(16 * limbs.size() - digits.size(), '0') + digits;
        for (std::size_t i = 0; i < limbs.size(); ++i) {
            limbs[limbs.size() - 1 - i] = std::stoull(whole.substr(16 * i, 16), nullptr, 16);
        }
        return limbs;
    }

    std::vector<mp_limb_t> mNumber, mStep; ///< What goes beyond the width in the last limb is not shown.
    std::string mBytes;
    std::size_t mSize;
    std::string mText;
};
#endif

/// A counter of the greatest width, by steps of the same width.
void WideRow()
{
    const auto digits = [](std::uint64_t seed) {
        std::mt19937_64 random(seed);
        std::string text(2 * 65535, '0');
        for (char& digit : text) digit = "0123456789abcdef"[random() % 16];
        return text;
    };
    const std::string start = digits(1), step = digits(2);
    Row row("wildcards next, hex counter of 65,535 bytes", 0.35, Steps(8),
            Next("@$(" + start + ",0," + step + ",hex)"));
#if HAVE_GMP && HAVE_ABSL
    row.Against("GMP and absl", WideNumber(start, step));
#else
    row.Missing("GMP and absl");
#endif
}

/// A template of 64 KiB with a counter every 40 characters, parsed, against one with a variable in each place.
void ParseRows()
{
    const auto make = [](std::size_t size, const std::string& expr) {
        return Many(static_cast<int>(size / 40), expr, expr.size(), size);
    };
    struct Parsed {
        Wildcards wildcards;
        mutable std::string value;

        const std::string& Value() const
        {
            Wildcards(wildcards).GetValue(value);
            return value;
        }
    };
    Row parse("template parse, 64 KiB", 0.4, std::vector<std::string>(16, make(65536, "@x(1,50000,1,5)")),
              [](const std::string& text) {
                  Parsed parsed{Wildcards(text, "@"), {}};
                  parsed.wildcards.ParseExpr();
                  return parsed;
              });
#if HAVE_CTEMPLATE
    // The variables' names are as long as the counters.
    struct Peer {
        std::unique_ptr<ctemplate::Template> templ;

        bool operator==(const Parsed& ours) const
        {
            ctemplate::TemplateDictionary dictionary("values");
            dictionary.SetValue("A_COUNTER_0", "00001");
            std::string text;
            return templ->Expand(&text, &dictionary) && text == ours.Value();
        }
    };
    parse.Against("ctemplate", [text = make(65536, "{{A_COUNTER_0}}")](const std::string&) {
        return Peer{
            std::unique_ptr<ctemplate::Template>(ctemplate::Template::StringToTemplate(text, ctemplate::DO_NOT_STRIP))};
    });
#else
    parse.Missing("ctemplate");
#endif
}

/// Templates without a fault, checked and parsed.
void CheckRow()
{
    static constexpr const char* kTemplates[] = {
        "host-@x(0,100,1,3) @m @=(name) and text that stands between",
        "@h 0200000000fe @$(020000000001,0,000000000001,big) 0800 @$(0A000001,60000,00000001,big) @$(0400,9,0001,big)",
        "@_(1,2)GET /@x(0,1000,1,4)?@$(0A000001,250,00000001,ipv4)@_",
        "@$(20010db8000000000000000000000001,0,00000000000000000000000000000001,ipv6) @s(10,1,7)"};
    const auto pick = [](std::uint64_t number) { return std::string(kTemplates[number % 4]); };
    Row("template check", 2.0, Inputs(pick), [](const std::string& text) {
        return CheckTemplate(text).size() > 9;
    }).Beside("parse", [](const std::string& text) {
        Wildcards wildcards(text, "@");
        wildcards.ParseExpr();
        return false;
    });
}

/// The digits of a hex template to its bytes.
void HexRows()
{
    for (const auto& [name, size, count] : {std::tuple("1 KiB", std::size_t{1} << 10, std::size_t{64}),
                                            std::tuple("256 KiB", std::size_t{1} << 18, std::size_t{4})}) {
        const auto digits = [size = size](std::uint64_t seed) {
            std::mt19937_64 random(seed);
            std::string text(size, '\0');
            for (char& c : text) c = "0123456789abcdef"[random() % 16];
            return text;
        };
        Row row(std::string("hex template to bytes, ") + name, 0.6, Inputs(digits, count),
                [bytes = std::string()](const std::string& text) mutable -> const std::string& {
                    Wildcards::ConvertAsciiHexToBin(text, bytes);
                    return bytes;
                });
#if HAVE_ABSL
        row.Against("absl", [](const std::string& text) { return absl::HexStringToBytes(text); });
#else
        row.Missing("absl");
#endif
    }
}

/// How the time grows with the length of a template.
void GrowthRows()
{
    const auto templ = [](std::size_t size) { return Many(static_cast<int>(size / 40), "@x(1,50000,1,5)", 15, size); };
    Growth("template parse, by length", 8192, [=](std::size_t size) {
        return [text = templ(size)] {
            Wildcards wildcards(text, "@");
            wildcards.ParseExpr();
            return wildcards;
        };
    });
    Growth("template next value, by length", 8192,
           [=](std::size_t size) { return [next = Next(templ(size))]() mutable { return next(0).size(); }; });
    Growth("template value at an index, by length", 8192,
           [=](std::size_t size) { return [at = At(templ(size))]() mutable { return at(77).size(); }; });
    Growth("variable list, by length", 8192, [](std::size_t size) {
        std::string list;
        for (std::size_t i = 0; list.size() < size; ++i) list += "name" + std::to_string(i) + "=value,";
        return [list] {
            Wildcards wildcards("", "@");
            wildcards.AddVarList(list);
            return wildcards;
        };
    });
}

} // namespace

void WildcardsRows()
{
    FormatRows();
    PacketRows();
    WideRow();
    ParseRows();
    CheckRow();
    HexRows();
    GrowthRows();
}

} // namespace zor::common::bench
