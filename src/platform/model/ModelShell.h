#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// A shell that opens nothing and notes what it was asked for: "verb file" or the command line, and
/// behind it the window that asked, if one is named.
class ModelShell final : public Shell {
  public:
    const std::vector<Text>& Launched() const { return launched_; }

    Status ShellExecuteA(std::string_view verb, std::string_view file) override {
        return Note(FromAscii(verb) + u" " +
                    FromBytes({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}));
    }
    Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t,
                           std::uintptr_t window) override {
        const auto number = static_cast<std::int32_t>(window);
        return Note(Text(verb) + u" " + Text(file) +
                    (window == 0 ? Text() : u" (window " + ToText(number) + u")"));
    }
    Status WinExec(TextView commandLine) override { return Note(Text(commandLine)); }

  private:
    Status Note(Text line) {
        launched_.push_back(std::move(line));
        return {};
    }

    std::vector<Text> launched_;
};

}  // namespace bkfd
