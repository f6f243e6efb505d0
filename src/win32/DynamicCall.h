#pragma once

#include "base/Text.h"

namespace bkfd {

/// The folder of Windows' own libraries, without a backslash at its end.
Text SystemFolder();

/// The address of a system library's function, or null where the library or the function is
/// missing. The library is looked for in the system folder alone, so that no file of its name
/// beside the program is taken for it. One that gets loaded stays loaded.
void* FindProcedure(const char* library, const char* name);

/// From now on, what the system's own libraries load by a bare name comes from the system folder
/// too. Before Windows 8 (or an update of Vista's and 7's) the system can't do that: there it holds
/// for the library of visual styles alone. To be called before any window is made.
void LoadLibrariesOfTheSystemAlone();

/// A function that old systems lack, looked up when the object is made. `Function` is the type of
/// a pointer to it, with its calling convention: decltype(&::EnumProcesses).
template <class Function>
class DynamicCall {
  public:
    DynamicCall(const char* library, const char* name)
        : function_(reinterpret_cast<Function>(FindProcedure(library, name))) {}

    bool IsThere() const { return function_ != nullptr; }
    template <class... Arguments>
    auto operator()(Arguments... arguments) const {
        return function_(arguments...);
    }

  private:
    Function function_;
};

}  // namespace bkfd
