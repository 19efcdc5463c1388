#include "TemplateState.h"

#include <cassert>
#include <utility>

namespace zor::common::detail {

namespace {

template <class Definition>
std::vector<Turn> FirstTurns(const std::vector<Definition>& definitions)
{
    std::vector<Turn> turns;
    turns.reserve(definitions.size());
    for (const Definition& definition : definitions) turns.push_back({0, definition.cycle.repeat});
    return turns;
}

} // namespace

void IndexedValues::MakeTables(const Program& program, const MacDefinition& mac)
{
    mValues.numbers.resize(program.numbers.size());
    mValues.wideNumbers.resize(program.wideNumbers.size());
    for (std::size_t i = 0; i < program.wideNumbers.size(); ++i) {
        mValues.wideNumbers[i] = ValueAt(program.wideNumbers[i], mIndex);
    }
    for (const MaskedNumber& number : program.maskedNumbers) {
        number.field.ValueAt(mIndex, mValue, mProduct);
        if (number.isWide) {
            mValues.wideNumbers[number.item].value = NumberOf<Uint128>(mValue);
        } else {
            mValues.numbers[number.item].number = {NumberOf<std::uint64_t>(mValue), mValue.GetSize()};
        }
    }
    mValues.fields.resize(program.fields.size());
    for (std::size_t i = 0; i < program.fields.size(); ++i) {
        program.fields[i].ValueAt(mIndex, mValues.fields[i], mProduct);
    }
    mValues.macs.resize(program.macs.size());
    for (std::size_t i = 0; i < program.macs.size(); ++i) {
        mValues.macs[i] = mac.ValueAt(program.macs[i].ChangesAt(mIndex));
    }
}

Values& IndexedValues::MakeAll(const Program& program)
{
    mValues.numbers.resize(program.numbers.size());
    const NumberSource number = GetNumberSource(program);
    for (std::size_t i = 0; i < program.numbers.size(); ++i) mValues.numbers[i].number = number(i);
    if (program.hasOnlyNumbers) { // then MoveTo() has not touched the others
        mValues.wideNumbers.clear();
        mValues.fields.clear();
        mValues.macs.clear();
    }
    return mValues;
}

State::State(const Program& program, std::uint64_t mac)
    : mWideTurns(FirstTurns(program.wideNumbers)), mFieldTurns(FirstTurns(program.fields)),
      mNextFields(program.fields.size())
{
    mValues.numbers.reserve(program.numbers.size());
    for (const auto& number : program.numbers) {
        mValues.numbers.push_back({{number.start, number.startSize}, {0, number.cycle.repeat}});
    }
    mValues.wideNumbers.reserve(program.wideNumbers.size());
    for (const auto& number : program.wideNumbers) mValues.wideNumbers.push_back({number.start, number.startSize});
    mValues.fields.reserve(program.fields.size());
    for (const FieldDefinition& field : program.fields) mValues.fields.push_back(field.start);
    mValues.macs.assign(program.macs.size(), mac);
    mMacTurns.reserve(program.macs.size());
    for (const Cycle& cycle : program.macs) mMacTurns.push_back({0, cycle.repeat});
    MoveTo(program, 0);
}

// GCOV_EXCL_BR_START: only a fault in this library takes the other branches
bool State::BelongsTo(const Program& program) const noexcept
{
    return mValues.numbers.size() == program.numbers.size() &&
           mValues.wideNumbers.size() == program.wideNumbers.size() && mValues.fields.size() == program.fields.size() &&
           mValues.macs.size() == program.macs.size() && mWideTurns.size() == program.wideNumbers.size() &&
           mFieldTurns.size() == program.fields.size() && mMacTurns.size() == program.macs.size() &&
           mNextFields.size() == program.fields.size();
}
// GCOV_EXCL_BR_STOP

/// Calls \a visit with each turn and its cycle.
template <class Visit>
void State::VisitTurns(const Program& program, Visit visit) noexcept
{
    assert(BelongsTo(program));
    for (std::size_t i = 0; i < mValues.numbers.size(); ++i) visit(mValues.numbers[i].turn, program.numbers[i].cycle);
    for (std::size_t i = 0; i < mWideTurns.size(); ++i) visit(mWideTurns[i], program.wideNumbers[i].cycle);
    for (std::size_t i = 0; i < mFieldTurns.size(); ++i) visit(mFieldTurns[i], program.fields[i].cycle);
    for (std::size_t i = 0; i < mMacTurns.size(); ++i) visit(mMacTurns[i], program.macs[i]);
}

void State::MoveTo(const Program& program, std::uint32_t index) noexcept
{
    VisitTurns(program, [index](Turn& turn, const Cycle& cycle) { turn.MoveTo(cycle, index + 1); });
}

void State::SetRepeats(const Program& program, std::uint32_t index) noexcept
{
    VisitTurns(program, [index](Turn& turn, const Cycle& cycle) { turn.SetRepeats(cycle, index); });
}

void State::PrepareFields(const Program& program)
{
    for (std::size_t i = 0; i < program.fields.size(); ++i) {
        const FieldDefinition& field = program.fields[i];
        if (mFieldTurns[i].repeatsLeft != 0) continue;
        if (mFieldTurns[i].changesLeft == 1) {
            mNextFields[i] = field.start;
        } else {
            field.SetNext(mNextFields[i], mValues.fields[i]);
        }
    }
}

void State::StepTables(const Program& program, const MacDefinition& mac) noexcept
{
    bool toStart = false;
    for (std::size_t i = 0; i < mWideTurns.size(); ++i) {
        const NumberDefinition<Uint128>& definition = program.wideNumbers[i];
        if (mWideTurns[i].Step(definition.cycle, toStart)) definition.Change(mValues.wideNumbers[i], toStart);
    }
    for (std::size_t i = 0; i < mFieldTurns.size(); ++i) {
        if (mFieldTurns[i].Step(program.fields[i].cycle, toStart)) std::swap(mValues.fields[i], mNextFields[i]);
    }
    for (std::size_t i = 0; i < mMacTurns.size(); ++i) {
        if (mMacTurns[i].Step(program.macs[i], toStart)) mValues.macs[i] = mac.Next(mValues.macs[i]);
    }
}

void State::Take(Values& at) noexcept
{
    assert(at.numbers.size() == mValues.numbers.size() && at.wideNumbers.size() == mValues.wideNumbers.size() &&
           at.fields.size() == mValues.fields.size() && at.macs.size() == mValues.macs.size());
    for (std::size_t i = 0; i < mValues.numbers.size(); ++i) mValues.numbers[i].number = at.numbers[i].number;
    mValues.wideNumbers.swap(at.wideNumbers);
    mValues.fields.swap(at.fields);
    mValues.macs.swap(at.macs);
}

void State::SetMac(std::uint64_t mac) noexcept
{
    for (std::uint64_t& address : mValues.macs) address = mac;
}

} // namespace zor::common::detail
