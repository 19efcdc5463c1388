#include "IndexCounter.h"

#include "Sequence.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace zor::common::detail {

namespace {

unsigned int DigitOf(const std::vector<std::uint64_t>& words, std::size_t digit)
{
    return words[digit / kWordDigits] >> 4 * (digit % kWordDigits) & 15;
}

/// ChangingDigits() without a mask.
///
/// A digit of value d in the step, with more of the step below it, changes at turn 1 unless d is 0 or f: the sums of all
/// digits up to it, modulo their width, move on by more than the digit's own weight, and less than 15 times that. Where
/// d is 0, it changes when the first carry arrives; where d is f, when the first one fails to.
std::vector<bool> ChangingPlainDigits(const HexCounter& counter, std::uint64_t last)
{
    std::vector<bool> changing(2 * counter.size);
    std::uint64_t carry = 0; // of all turns up to the last one
    bool hasLower = false;   // whether the step has a digit below that is not 0
    for (std::size_t digit = 0; digit < changing.size(); ++digit) {
        const unsigned int step = DigitOf(counter.step, digit);
        if (!hasLower) {
            changing[digit] = step != 0 && last != 0;
        } else if (step == 0) {
            changing[digit] = carry != 0;
        } else if (step == 15) {
            changing[digit] = carry < last;
        } else {
            changing[digit] = last != 0;
        }
        hasLower = hasLower || step != 0;
        carry = static_cast<std::uint64_t>((Product{step} * last + DigitOf(counter.start, digit) + carry) >> 4);
    }
    return changing;
}

/// ChangingDigits() with a mask.
std::vector<bool> ChangingMaskedDigits(const HexCounter& counter, const std::vector<BitRun>& runs, std::uint64_t last)
{
    std::vector<bool> changing(2 * counter.size);
    RunCarry carry(last);
    std::size_t bit = 0;
    for (const BitRun& run : runs) {
        const bool isMoved = !run.isHole && last != 0 && (run.step != 0 || carry.GetCarry() != 0);
        for (std::size_t digit = bit / 4; isMoved && digit < (bit + run.bits + 3) / 4; ++digit) changing[digit] = true;
        carry.Next(run);
        bit += run.bits;
    }
    for (std::size_t digit = 0; last != 0 && digit < changing.size(); ++digit) {
        const unsigned int lost = DigitOf(counter.start, digit) & ~DigitOf(counter.mask, digit) & 15;
        if (lost != DigitOf(counter.fixed, digit)) changing[digit] = true;
    }
    return changing;
}

} // namespace

std::vector<BitRun> RunsOf(const HexCounter& counter)
{
    std::vector<BitRun> runs;
    for (std::size_t word = 0; word < counter.mask.size(); ++word) {
        const auto bits = static_cast<unsigned int>(std::min(8 * counter.size - kWordBits * word, kWordBits));
        for (unsigned int bit = 0; bit < bits;) {
            const std::uint64_t mask = counter.mask[word] >> bit;
            const bool isHole = (mask & 1) == 0;
            const std::uint64_t others = isHole ? mask : ~mask;
            const unsigned int same = others == 0 ? 64 : static_cast<unsigned int>(__builtin_ctzll(others));
            const unsigned int size = std::min(same, bits - bit);
            const std::uint64_t start = isHole ? counter.fixed[word] : counter.start[word];
            runs.push_back({start >> bit & LowBits(size), counter.step[word] >> bit & LowBits(size),
                            static_cast<std::uint8_t>(size), isHole});
            bit += size;
        }
    }
    return runs;
}

bool StartsApart(const HexCounter& counter)
{
    for (std::size_t word = 0; word < counter.mask.size(); ++word) {
        if ((counter.start[word] & ~counter.mask[word]) != counter.fixed[word]) return true;
    }
    return false;
}

std::vector<bool> ChangingDigits(const HexCounter& counter, const std::vector<BitRun>& runs, std::uint64_t last)
{
    return counter.hasMask ? ChangingMaskedDigits(counter, runs, last) : ChangingPlainDigits(counter, last);
}

std::size_t PeriodPower(const std::vector<BitRun>& runs)
{
    std::size_t power = 0;
    std::size_t bits = 0;   // of the present group of runs, between which carries pass
    std::size_t lowest = 0; // the place of the lowest bit of what a step adds to the group
    bool isFound = false;   // whether there is one
    bool hasCarry = false;  // whether each step hands a carry to the group
    const auto end = [&] {
        if (isFound) power = std::max(power, bits - lowest);
        bits = 0;
        isFound = false;
    };
    for (const BitRun& run : runs) {
        if (run.isHole) {
            if (run.step == 0) continue;
            end();
            hasCarry = true;
            continue;
        }
        if (!isFound) {
            // With a carry, the lowest bit is that of step + 1, and the carry goes on behind a run full of ones.
            const std::uint64_t bitsFound = (hasCarry ? ~run.step : run.step) & LowBits(run.bits);
            isFound = bitsFound != 0;
            if (isFound) lowest = bits + static_cast<std::size_t>(__builtin_ctzll(bitsFound));
        }
        bits += run.bits;
    }
    end();
    return power;
}

std::uint64_t PeriodOf(const TurnRule& rule, std::uint64_t turns, bool startsApart)
{
    const std::uint64_t count = rule.count.GetNumber();
    if (count == 1) return 1;
    if (count == 0) {
        if (startsApart) return 0;
    } else if (startsApart || turns == 0 || count % turns != 0) {
        turns = count;
    }
    std::uint64_t period = 0;
    if (turns == 1) return 1;
    return __builtin_mul_overflow(turns, rule.interval.GetNumber(), &period) ? 0 : period;
}

bool StepsAreExact(const HexCounter& counter)
{
    return counter.size <= 8 || counter.turns.count.GetNumber() == 1 ||
           !LosesCarries(counter.step.data(), counter.size);
}

std::uint64_t CommonPeriod(std::uint64_t left, std::uint64_t right) noexcept
{
    std::uint64_t period = 0;
    if (left == 0 || right == 0) return 0;
    return __builtin_mul_overflow(left, right / std::gcd(left, right), &period) ? 0 : period;
}

std::uint64_t InverseOf(std::uint64_t number, std::uint64_t modulus) noexcept
{
    // Euclid's algorithm; factors are kept modulo the modulus, as products of them do not fit 64 bits.
    std::uint64_t larger = modulus;
    std::uint64_t smaller = number % modulus;
    std::uint64_t previous = 0;
    std::uint64_t present = 1 % modulus;
    while (smaller > 1) {
        const std::uint64_t quotient = larger / smaller;
        const auto product = static_cast<std::uint64_t>(Product{quotient} * present % modulus);
        previous = previous >= product ? previous - product : previous + (modulus - product);
        std::swap(previous, present);
        larger -= quotient * smaller;
        std::swap(larger, smaller);
    }
    return present;
}

} // namespace zor::common::detail
