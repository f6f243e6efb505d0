#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/HostFolder.h"

namespace bkfd {

using Strings = std::vector<std::string>;

/// What a run of the command line left.
struct CliRun {
    int code = 0;
    std::string out;
    std::string err;

    /// The document that was printed.
    nlohmann::json Document() const { return nlohmann::json::parse(out); }
};

/// Runs the command line in this process; `input` is what is typed.
CliRun RunCli(const Strings& arguments, const std::string& input = {});

/// A copy of an example machine.
class MachineCopy : public HostFolder {
  public:
    explicit MachineCopy(const std::string& example);
    /// Changes machine.json.
    void Edit(const std::function<void(nlohmann::ordered_json& facts)>& edit) const;
};

/// Adds to an image what 32-bit programs of a 64-bit Windows have registered: a helper object whose
/// file in SysWOW64 is a parasite, and a start page.
void AddParasiteOf32Bits(const MachineCopy& machine);

/// Runs the command line with that machine.
CliRun RunOn(const HostFolder& machine, Strings arguments, const std::string& input = {});

/// Compares with tests/cli/golden/NAME, in which the machine's folder reads MACHINE. With the
/// environment variable BKFD_UPDATE_GOLDEN set, writes it instead.
void ExpectGolden(const std::string& name, std::string text, const HostFolder& machine);

}  // namespace bkfd
