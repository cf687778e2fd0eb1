// The comparison of a delivered matrix with what the reference knows of it.

#include "tests/refinement/ReferenceReassignment.h"

#include <cmath>
#include <map>
#include <numeric>

namespace qel::test {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t kBins = ReferenceReassignment::kBins;

std::vector<std::size_t> CellsOf(const UncertainValue& value) {
    std::vector<std::size_t> cells;
    for (std::size_t row = value.frames.first; row <= value.frames.last; ++row) {
        for (std::size_t column = value.bins.first; column <= value.bins.last; ++column) {
            cells.push_back(row * kBins + column);
        }
    }
    return cells;
}

bool IsWithin(Complex difference, double error) {
    return std::abs(difference.real()) <= error && std::abs(difference.imag()) <= error;
}

// Uncertain values that share cells, and the cells. Tries all choices.
class Group {
public:
    void Add(const UncertainValue& value) { mValues.push_back({value, CellsOf(value)}); }
    // What a cell lacks after its certain values, and what it may be off by.
    void SetCell(std::size_t cell, Complex lacks, double error) {
        mCells[cell] = {lacks, error, 0};
    }

    enum class Outcome { kExplained, kUnexplained, kOpen };
    Outcome Solve() {
        for (const Member& member : mValues) {
            for (const std::size_t cell : member.cells) {
                ++mCells.at(cell).left;
            }
        }
        mSteps = 0;
        if (Choose(0)) {
            return Outcome::kExplained;
        }
        return mSteps < kMostSteps ? Outcome::kUnexplained : Outcome::kOpen;
    }
    // The weaker test where the choices are too many: no cell lacks more than it could be given.
    bool LacksNoMoreThanAll() const {
        std::map<std::size_t, double> most;
        for (const Member& member : mValues) {
            for (const std::size_t cell : member.cells) {
                most[cell] += std::abs(member.value.value) + member.value.error;
            }
        }
        for (const auto& [cell, state] : mCells) {
            if (!IsWithin(state.lacks, state.error + most[cell])) {
                return false;
            }
        }
        return true;
    }
    std::size_t AnyCell() const { return mCells.begin()->first; }
    std::size_t CellCount() const { return mCells.size(); }

private:
    struct Member {
        UncertainValue value;
        std::vector<std::size_t> cells;
    };
    struct Cell {
        Complex lacks;
        double error;
        int left; // values not yet placed that may go there
    };
    static constexpr std::size_t kMostSteps = 2000000;

    // Places value `index` and all after it.
    bool Choose(std::size_t index) {
        if (index == mValues.size()) {
            return true;
        }
        const Member& member = mValues[index];
        for (const std::size_t chosen : member.cells) {
            if (++mSteps >= kMostSteps) {
                return false;
            }
            Take(member, chosen, 1.0);
            if (FullCellsHold(member) && Choose(index + 1)) {
                return true;
            }
            Take(member, chosen, -1.0);
        }
        return false;
    }

    void Take(const Member& member, std::size_t chosen, double sign) {
        // What was added to a cell was rounded there.
        const double error = member.value.error + 4.0 * kRoundoff * std::abs(member.value.value);
        mCells.at(chosen).lacks -= sign * member.value.value;
        mCells.at(chosen).error += sign * error;
        for (const std::size_t cell : member.cells) {
            mCells.at(cell).left -= static_cast<int>(sign);
        }
    }

    bool FullCellsHold(const Member& member) const {
        for (const std::size_t cell : member.cells) {
            const Cell& state = mCells.at(cell);
            if (state.left == 0 && !IsWithin(state.lacks, state.error)) {
                return false;
            }
        }
        return true;
    }

    std::vector<Member> mValues;
    std::map<std::size_t, Cell> mCells;
    std::size_t mSteps = 0;
};

// Joins the uncertain values that share cells; the result is one representative for each of them.
std::vector<std::size_t> GroupsOf(const std::vector<UncertainValue>& values) {
    std::vector<std::size_t> parent(values.size());
    std::iota(parent.begin(), parent.end(), std::size_t{0});
    const auto root = [&parent](std::size_t i) {
        while (parent[i] != i) {
            i = parent[i] = parent[parent[i]];
        }
        return i;
    };
    std::map<std::size_t, std::size_t> owners;
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (const std::size_t cell : CellsOf(values[i])) {
            const auto [owner, isNew] = owners.try_emplace(cell, i);
            parent[root(i)] = root(owner->second);
        }
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        parent[i] = root(i);
    }
    return parent;
}

} // namespace

MatrixAgreement Compare(const ReassignedMatrix& expected,
                        std::span<const std::complex<float>> delivered) {
    MatrixAgreement agreement;
    const auto lacks = [&](std::size_t cell) {
        return Complex(delivered[cell]) - expected.certain[cell];
    };
    std::map<std::size_t, Group> groups;
    std::vector<bool> isShared(expected.certain.size());
    const std::vector<std::size_t> groupOf = GroupsOf(expected.uncertain);
    for (std::size_t i = 0; i < groupOf.size(); ++i) {
        Group& group = groups[groupOf[i]];
        group.Add(expected.uncertain[i]);
        for (const std::size_t cell : CellsOf(expected.uncertain[i])) {
            group.SetCell(cell, lacks(cell), expected.error[cell]);
            isShared[cell] = true;
        }
    }
    for (std::size_t cell = 0; cell < isShared.size(); ++cell) {
        if (!isShared[cell] && !IsWithin(lacks(cell), expected.error[cell])) {
            agreement.firstWrong = cell;
            ++agreement.wrongCells;
        }
    }
    for (auto& [representative, group] : groups) {
        const Group::Outcome outcome = group.Solve();
        agreement.openGroups += outcome == Group::Outcome::kOpen ? 1 : 0;
        if (outcome == Group::Outcome::kUnexplained ||
            (outcome == Group::Outcome::kOpen && !group.LacksNoMoreThanAll())) {
            agreement.firstWrong = group.AnyCell();
            agreement.wrongCells += group.CellCount();
        }
    }
    return agreement;
}

} // namespace qel::test
