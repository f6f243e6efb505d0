#pragma once

namespace bkfd {

/// The address of a system library's function, or null where the library or the function is
/// missing. A library that gets loaded stays loaded.
void* FindProcedure(const char* library, const char* name);

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
