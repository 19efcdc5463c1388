#include "CounterFacts.h"

#include "Decimal.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zor::common::detail {

namespace {

constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;
constexpr std::uint64_t kFullWord = kWrap - 1;
constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

/// The least k for which k * factor modulo \a modulus lies from \a low to \a high, found as Euclid's algorithm divides;
/// kNever if there is none. All are below the modulus, which is at most 2^32.
std::uint64_t FirstWithin(std::uint64_t factor, std::uint64_t modulus, std::uint64_t low, std::uint64_t high) noexcept
{
    if (low == 0) return 0;
    if (factor == 0) return kNever;
    const std::uint64_t steps = (low + factor - 1) / factor;
    if (steps * factor <= high) return steps;
    const auto negative = [factor](std::uint64_t number) { return (factor - number % factor) % factor; };
    const std::uint64_t wraps = FirstWithin(modulus % factor, factor, negative(high), negative(low));
    return wraps == kNever ? kNever : (low + modulus * wraps + factor - 1) / factor;
}

/// The turn before the first one at which a counter with a modulus differs, if it starts below the modulus and steps. It
/// is the first sum modulo 2^32 to which adding the step wraps while adding it to what is left of the sum does not.
std::uint64_t LastAlike(const CounterDefinition& counter) noexcept
{
    const std::uint64_t modulus = counter.modulus;
    const std::uint64_t down = kWrap - counter.step; // how far a step that wraps leads down
    if (counter.step + modulus - 1 < kWrap) return (down - counter.start + counter.step - 1) / counter.step;
    // Stepping wraps too. The sums go down by `down`, to below that, and then start again at a multiple of it from the
    // top, on another residue. They differ on the first way down that starts at the modulus or above, where the sums
    // pass the last `down` numbers above a multiple of the modulus.
    const std::uint64_t residue = counter.start % down;
    const std::uint64_t least = modulus + down - kWrap; // the residue of such a way; may wrap to above `down`
    const std::uint64_t target = modulus + down <= kWrap || least <= residue ? 0 : least - residue;
    const std::uint64_t way = FirstWithin(kWrap % down, down, target, down - 1 - residue);
    if (way == kNever) return kNever;
    const std::uint64_t first = (residue + way * (kWrap % down)) % down + kWrap - down;
    const std::uint64_t turn = (counter.start + (way + 1) * kWrap - first) / down;
    return turn + first % modulus / down;
}

/// A hex counter as words of 32 bits, the lowest one first, as Hexfield counts.
class Words {
public:
    explicit Words(const Hexfield& field) : mField(field) {}

    std::size_t Count() const noexcept { return (mField.GetSize() + 3u) / 4; }

    std::uint32_t operator[](std::size_t word) const noexcept
    {
        std::uint32_t result = 0;
        const std::size_t size = mField.GetSize();
        for (std::size_t place = 4 * word; place < std::min(size, 4 * word + 4); ++place) {
            const auto byte = mField.GetByte(static_cast<unsigned int>(size - 1 - place));
            result |= std::uint32_t{byte} << 8 * (place % 4);
        }
        return result;
    }

private:
    const Hexfield& mField;
};

/// Whether an inner word of the product is full at some turn where the start's is full too and gets a carry, which is
/// then lost. No product of a word reaches 2^32 in these turns, so a full word is a divisor of 2^32 - 1 times the turn.
bool LosesCarryByIndex(const Words& start, const Words& step, std::size_t shownWords, std::uint32_t last)
{
    const std::size_t end = std::min({start.Count(), step.Count(), shownWords - 1});
    for (std::size_t i = 1; i < end; ++i) {
        const std::uint32_t divisor = step[i];
        if (start[i] != kFullWord || divisor == 0 || kFullWord % divisor != 0) continue;
        const std::uint64_t turn = kFullWord / divisor;
        if (turn > last) continue;
        // The carry into the word comes from the nearest lower one whose sum is not full, which decides by itself.
        for (std::size_t lower = i; lower-- > 0;) {
            const std::uint64_t sum = start[lower] + turn * step[lower];
            if (sum > kFullWord) return true;
            if (sum < kFullWord) break;
        }
    }
    return false;
}

/// Whether stepping may lose a carry out of a word that passes it on to a byte that is shown.
bool LosesCarryByStep(const Words& step, std::size_t size, std::size_t shown)
{
    const std::size_t end = std::min(step.Count(), (std::min(size, shown) - 1) / 4);
    for (std::size_t i = 1; i < end; ++i) {
        if (step[i] == kFullWord) return true;
    }
    return false;
}

std::size_t ShownBytes(HexFormat format)
{
    switch (format) {
    case HexFormat::Mac: return 6;
    case HexFormat::Ipv4: return 4;
    case HexFormat::Ipv6: return 16;
    default: return std::numeric_limits<std::size_t>::max();
    }
}

/// Whether two fields show the same low bytes.
bool ShowSame(const Hexfield& left, const Hexfield& right, std::size_t shown)
{
    const Words leftWords(left);
    const Words rightWords(right);
    for (std::size_t i = 0; i < std::max(leftWords.Count(), rightWords.Count()) && 4 * i < shown; ++i) {
        const std::size_t bytes = shown - 4 * i;
        const std::uint64_t bits = bytes >= 4 ? kFullWord : (std::uint64_t{1} << 8 * bytes) - 1;
        if (((leftWords[i] ^ rightWords[i]) & bits) != 0) return false;
    }
    return true;
}

/// Whether (first + t * step) modulo \a modulus lies from \a low to \a high for a turn t up to the last one.
bool Reaches(std::uint64_t first, std::uint64_t step, std::uint64_t modulus, std::uint64_t last, std::uint64_t low,
             std::uint64_t high) noexcept
{
    high = std::min(high, modulus - 1);
    if (low > high) return false;
    if (low <= first && first <= high) return true;
    // The place from which the turns add multiples of the step is 0, so the range is moved; it does not contain 0 now.
    const std::uint64_t from = (low + modulus - first) % modulus;
    const std::uint64_t turn = FirstWithin(step % modulus, modulus, from, from + (high - low));
    return turn <= last;
}

} // namespace

DigitCounts DigitsOf(const CounterDefinition& counter) noexcept
{
    const std::uint64_t modulus = counter.modulus == 0 ? kWrap : counter.modulus;
    const std::uint64_t step = counter.step;
    std::uint64_t last = LastTurn(counter.count);
    std::uint64_t first = counter.start;
    const std::size_t startDigits = DecimalSize(first);
    DigitCounts digits = {startDigits, startDigits};
    if (last == 0) return digits;
    if (first >= modulus) { // which turn 0 alone shows
        first = (first + step) % modulus;
        --last;
    }
    const auto reaches = [&](std::size_t size) {
        return Reaches(first, step, modulus, last, kPowersOf10[size - 1], kPowersOf10[size] - 1);
    };
    for (std::size_t size = 1; size < digits.least; ++size) {
        if (reaches(size)) digits.least = size;
    }
    for (std::size_t size = DecimalSize(modulus - 1); size > digits.largest; --size) {
        if (reaches(size)) digits.largest = size;
    }
    return digits;
}

std::optional<std::uint64_t> FirstTurnApart(const CounterDefinition& counter) noexcept
{
    const std::uint64_t modulus = counter.modulus;
    if (modulus == 0) return std::nullopt;
    if (counter.start >= modulus) return 0; // which shows the start, and by index what is left of it
    if (counter.step == 0 || (modulus & (modulus - 1)) == 0) return std::nullopt; // which is a divisor of 2^32
    const std::uint64_t last = LastAlike(counter);
    return last < LastTurn(counter.count) ? std::optional(last + 1) : std::nullopt;
}

bool IndexAgrees(const FieldDefinition& field, HexFormat format)
{
    const std::size_t size = field.GetFullSize();
    if (ShowsWidth(format) && field.start.GetSize() != size) return false; // by index, turn 0 has the full size
    const std::uint32_t last = LastTurn(field.cycle.count);
    const std::size_t shown = std::min(size, ShownBytes(format));
    if (last == 0 || shown == 0) return true;
    const Words step(field.step);
    if (size > 8 && LosesCarryByStep(step, size, shown)) {
        // From turn 3 on the products, without carries between words, cannot make up for what is lost.
        if (last >= 3) return false;
        Hexfield stepped = field.start;
        Hexfield product = field.step;
        for (std::uint32_t turn = 0; turn < last; ++turn) stepped += field.step;
        product *= last;
        Hexfield multiplied = field.start;
        multiplied += product;
        return ShowSame(stepped, multiplied, shown);
    }
    // The product of a word at the last turn must fit it, unless the carry would go to no byte that is shown.
    const std::size_t stepSize = field.step.GetSize();
    for (std::size_t i = 0; i < step.Count(); ++i) {
        const std::size_t end = std::min(stepSize, 4 * i + 4);
        if (end >= shown) break;
        if (std::uint64_t{step[i]} * last >> 8 * (end - 4 * i) != 0) return false;
    }
    return shown <= 8 || !LosesCarryByIndex(Words(field.start), step, (shown + 3) / 4, last);
}

bool StepsExactly(const CounterDefinition& counter) noexcept
{
    return counter.modulus == 0 || counter.count == 1 ||
           std::max<std::uint64_t>(counter.start, counter.modulus - 1) + counter.step < kWrap;
}

bool StepsExactly(const FieldDefinition& field)
{
    const std::size_t size = field.GetFullSize();
    return size <= 8 || field.cycle.count == 1 || !LosesCarryByStep(Words(field.step), size, size);
}

} // namespace zor::common::detail
