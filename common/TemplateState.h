#ifndef ZOR_COMMON_TEMPLATE_STATE_H
#define ZOR_COMMON_TEMPLATE_STATE_H

/// \file
/// Internal: the values of a program, by step and by index.

#include "TemplateProgram.h"

#include <cassert>
#include <cstdint>
#include <vector>

namespace zor::common::detail {

/// The values of a program: a table for each table of definitions.
struct Values {
    std::vector<Counter<std::uint64_t>> numbers; ///< The turns are those of a state.
    std::vector<Number<Uint128>> wideNumbers;
    std::vector<Hexfield> fields;
    std::vector<std::uint64_t> macs;
};

/// All that changes while a program is stepped. A state belongs to one program, which each call gets.
class State {
public:
    State() = default; ///< Of no program.

    /// At index 0, MAC addresses at \a mac.
    State(const Program& program, std::uint64_t mac);

    const Values& GetValues() const noexcept { return mValues; }

    /// Counts the changes until the start shows again from an index on; the values stay as they are.
    void MoveTo(const Program& program, std::uint32_t index) noexcept;

    /// Does the part of the next step that can fail.
    void PrepareStep(const Program& program)
    {
        assert(BelongsTo(program));
        if (!program.hasOnlyNumbers) PrepareFields(program);
    }

    /// Advances all values by one step, after PrepareStep().
    void Step(const Program& program, const MacDefinition& mac) noexcept
    {
        const NumberStepper step = GetNumberStepper(program);
        for (std::size_t i = 0; i < mValues.numbers.size(); ++i) step(i);
        StepOthers(program, mac);
    }

    /// Advances one number by one step and returns it. Holds the addresses of the tables, so that they are loaded once.
    struct NumberStepper {
        const NumberDefinition<std::uint64_t>* definitions;
        Counter<std::uint64_t>* counters;

        [[gnu::always_inline]] const Number<std::uint64_t>& operator()(std::size_t item) const noexcept
        {
            const NumberDefinition<std::uint64_t>& definition = definitions[item];
            Counter<std::uint64_t>& counter = counters[item];
            bool toStart = false;
            if (counter.turn.Step(definition.cycle, toStart)) definition.Change(counter.number, toStart);
            return counter.number;
        }

        /// The same for a plain number.
        [[gnu::always_inline]] std::uint64_t Plain(std::size_t item) const noexcept
        {
            const NumberDefinition<std::uint64_t>& definition = definitions[item];
            Counter<std::uint64_t>& counter = counters[item];
            std::uint64_t next = (counter.number.value + definition.step) & definition.mask;
            if (counter.turn.Change(definition.cycle)) [[unlikely]]
                next = definition.start;
            return counter.number.value = next;
        }
    };
    NumberStepper GetNumberStepper(const Program& program) noexcept
    {
        assert(BelongsTo(program));
        return {program.numbers.data(), mValues.numbers.data()};
    }

    /// Advances all values but the numbers by one step.
    void StepOthers(const Program& program, const MacDefinition& mac) noexcept
    {
        assert(BelongsTo(program));
        if (!program.hasOnlyNumbers) StepTables(program, mac);
    }

    /// Takes the values of an index, which \a at may lose. The repeats still to come stay as they are.
    void Take(Values& at) noexcept;

    /// Sets how many repeats of each value are still to come at an index.
    void SetRepeats(const Program& program, std::uint32_t index) noexcept;

    void SetMac(std::uint64_t mac) noexcept;

private:
    /// Whether there is a value for each definition. Debug builds check it.
    bool BelongsTo(const Program& program) const noexcept;
    void PrepareFields(const Program& program);
    void StepTables(const Program& program, const MacDefinition& mac) noexcept;
    template <class Visit>
    void VisitTurns(const Program& program, Visit visit) noexcept;

    Values mValues;
    std::vector<Turn> mWideTurns;
    std::vector<Turn> mFieldTurns;
    std::vector<Turn> mMacTurns;
    std::vector<Hexfield> mNextFields; ///< The next values, which PrepareFields() computes.
};

/// The values of a program at an index, computed from the definitions and not by stepping. Numbers without a mask are
/// computed only when they are asked for.
class IndexedValues {
public:
    /// Computes all values but the numbers without a mask. Only this and MakeAll() can fail.
    void MoveTo(const Program& program, const MacDefinition& mac, std::uint32_t index)
    {
        mIndex = index;
        if (!program.hasOnlyNumbers) MakeTables(program, mac);
    }

    /// Computes one number. Holds the addresses of the tables, so that they are loaded once.
    struct NumberSource {
        const NumberDefinition<std::uint64_t>* definitions;
        const Counter<std::uint64_t>* masked;
        std::uint32_t index;

        [[gnu::always_inline]] Number<std::uint64_t> operator()(std::size_t item) const noexcept
        {
            return definitions[item].hasMask ? masked[item].number : ValueAt(definitions[item], index);
        }

        /// The same for a plain number.
        [[gnu::always_inline]] std::uint64_t Plain(std::size_t item) const noexcept
        {
            return ValueAfter(definitions[item], definitions[item].cycle.SinceStart(index));
        }
    };
    NumberSource GetNumberSource(const Program& program) const noexcept
    {
        assert(program.maskedNumbers.empty() || mValues.numbers.size() == program.numbers.size());
        return {program.numbers.data(), mValues.numbers.data(), mIndex};
    }

    /// All values but the numbers without a mask.
    const Values& GetTables() const noexcept { return mValues; }

    /// Computes the numbers without a mask too, and returns all values.
    Values& MakeAll(const Program& program);

private:
    void MakeTables(const Program& program, const MacDefinition& mac);

    Values mValues;
    Hexfield mValue;
    Hexfield mProduct;
    std::uint32_t mIndex = 0;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_STATE_H
