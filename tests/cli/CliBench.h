#pragma once

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace bkfd {

/// What a run of the command line left.
struct CliRun {
    int code = 0;
    std::string out;
    std::string err;

    /// The document that was printed.
    nlohmann::json Document() const { return nlohmann::json::parse(out); }
};

/// Runs the command line in this process; `input` is what is typed.
CliRun RunCli(const std::vector<std::string>& arguments, const std::string& input = {});

/// A copy of an example machine, or an empty folder, that goes with the object.
class MachineCopy {
  public:
    /// The empty name makes an empty folder.
    explicit MachineCopy(const std::string& example);
    ~MachineCopy();
    MachineCopy(const MachineCopy&) = delete;
    MachineCopy& operator=(const MachineCopy&) = delete;

    std::string Path() const { return path_.string(); }
    void Write(const std::string& file, const std::string& content) const;
    std::string Read(const std::string& file) const;
    /// Changes machine.json.
    void Edit(const std::function<void(nlohmann::ordered_json& facts)>& edit) const;
    /// Every file with its content, to be compared.
    std::vector<std::pair<std::string, std::string>> Snapshot() const;

  private:
    std::filesystem::path path_;
};

/// Runs the command line with that machine.
CliRun RunOn(const MachineCopy& machine, std::vector<std::string> arguments,
             const std::string& input = {});

/// Compares with tests/cli/golden/NAME, in which the machine's folder reads MACHINE. With the
/// environment variable BKFD_UPDATE_GOLDEN set, writes it instead.
void ExpectGolden(const std::string& name, std::string text, const MachineCopy& machine);

}  // namespace bkfd
