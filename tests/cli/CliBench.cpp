#include "cli/CliBench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/CommandLine.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void WriteFile(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

void Replace(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
        text.replace(at, what.size(), with);
        at += with.size();
    }
}

}  // namespace

CliRun RunCli(const std::vector<std::string>& arguments, const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    Console console(in, out, err);
    const int code = RunCommandLine(arguments, console);
    return {code, out.str(), err.str()};
}

MachineCopy::MachineCopy(const std::string& example) {
    std::string name = (fs::temp_directory_path() / "bkfd-machine-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
    if (!example.empty()) {
        fs::copy(fs::path(BKFD_SOURCE_DIR) / "examples/machines" / example, path_,
                 fs::copy_options::recursive);
    }
}

MachineCopy::~MachineCopy() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void MachineCopy::Write(const std::string& file, const std::string& content) const {
    WriteFile(path_ / file, content);
}

std::string MachineCopy::Read(const std::string& file) const {
    return ReadFile(path_ / file);
}

void MachineCopy::Edit(const std::function<void(nlohmann::ordered_json& facts)>& edit) const {
    auto facts = nlohmann::ordered_json::parse(Read("machine.json"));
    edit(facts);
    Write("machine.json", facts.dump(2));
}

std::vector<std::pair<std::string, std::string>> MachineCopy::Snapshot() const {
    std::vector<std::pair<std::string, std::string>> files;
    for (const auto& entry : fs::recursive_directory_iterator(path_)) {
        if (!entry.is_regular_file()) continue;
        files.emplace_back(fs::relative(entry.path(), path_).string(), ReadFile(entry.path()));
    }
    std::sort(files.begin(), files.end());
    return files;
}

CliRun RunOn(const MachineCopy& machine, std::vector<std::string> arguments,
             const std::string& input) {
    arguments.insert(arguments.begin(), {"--machine", machine.Path()});
    return RunCli(arguments, input);
}

void ExpectGolden(const std::string& name, std::string text, const MachineCopy& machine) {
    Replace(text, machine.Path(), "MACHINE");
    const fs::path path = fs::path(BKFD_SOURCE_DIR) / "tests/cli/golden" / name;
    if (std::getenv("BKFD_UPDATE_GOLDEN") != nullptr) {
        WriteFile(path, text);
        return;
    }
    EXPECT_EQ(text, ReadFile(path)) << "differs from " << path;
}

}  // namespace bkfd
