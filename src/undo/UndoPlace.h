#pragma once

#include <memory>

#include "undo/TakeBack.h"

namespace bkfd {

/// The place of one recorded change, as it is now, and the way back.
class UndoPlace {
  public:
    enum class State { AsAfter, AsBefore, Other };

    explicit UndoPlace(const UndoChange& change) : change_(change) {}
    virtual ~UndoPlace() = default;

    /// Looks at the place; a failure is one of reading.
    virtual Status Look() = 0;
    /// Puts back what was there before, whatever is there now.
    virtual Status PutBack() = 0;

    State Now() const { return state_; }
    /// What is there, for people, after `Look`.
    const Text& Description() const { return now_; }
    /// Why it is neither as before nor as after.
    const Text& Conflict() const { return conflict_; }
    /// Whether force can put back what was there.
    bool CanBeForced() const { return canBeForced_; }

  protected:
    Machine& machine_ = TheMachine();
    const UndoChange& change_;
    State state_ = State::Other;
    Text now_;
    Text conflict_;
    bool canBeForced_ = true;
};

/// Null for a change that can't be undone, and for an order of values.
std::unique_ptr<UndoPlace> MakeRegistryPlace(const UndoChange& change);
std::unique_ptr<UndoPlace> MakeFilePlace(const UndoChange& change);

/// Gives the values of the key the order of those names; others stay behind them. A registry that
/// sorts by itself is left as it is. Each value that has to move is deleted and set again.
Status RestoreOrder(const UndoChange& order);

}  // namespace bkfd
