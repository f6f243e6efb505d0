#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// A shell that opens nothing and notes what it was asked for: "verb file" or the command line.
class ModelShell final : public Shell {
  public:
    const std::vector<Text>& Launched() const { return launched_; }

    Status ShellExecuteA(std::string_view verb, std::string_view file) override {
        return Note(FromAscii(verb) + u" " +
                    FromBytes({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}));
    }
    Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t) override {
        return Note(Text(verb) + u" " + Text(file));
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
