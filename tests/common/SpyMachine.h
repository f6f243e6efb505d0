#pragma once

#include <functional>
#include <map>
#include <string>

#include "platform/forward/ForwardMachine.h"

namespace bkfd {

/// A machine with counted calls, and with hooks before them: a file vanishes, memory runs out.
class SpyMachine final : public CallGate, public ForwardMachine {
  public:
    explicit SpyMachine(Machine& machine)
        : ForwardMachine(machine, static_cast<CallGate&>(*this)),
          files_(machine.FileSystem(), *this) {}

    std::map<std::string, int> calls;
    std::map<std::string, std::function<void()>> before;

    void RunOutOfMemoryAt(const std::string& call) {
        before[call] = [] { throw std::bad_alloc(); };
    }
    int OpenSearches() { return calls["FindFirstFileA"] - files_.closedOrFailed; }

    Files& FileSystem() override { return files_; }
    Status Enter(const char* call) override {
        ++calls[call];
        if (const auto hook = before.find(call); hook != before.end()) hook->second();
        return {};
    }

  private:
    class SpyFiles final : public ForwardFiles {
      public:
        using ForwardFiles::ForwardFiles;

        Handle FindFirstFileA(std::string_view path, FindData& data) override {
            const Handle search = ForwardFiles::FindFirstFileA(path, data);
            if (search == kInvalidHandle) ++closedOrFailed;
            return search;
        }
        Status FindClose(Handle search) override {
            ++closedOrFailed;
            return target_.FindClose(search);
        }

        int closedOrFailed = 0;
    };

    SpyFiles files_;
};

}  // namespace bkfd
