#include "cli/CliFixture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/CommandLine.h"

namespace bkfd {

namespace fs = std::filesystem;

namespace {

const pid_t kTests = getpid();  // not a child that a test restricts

/// Keeps a document where the tests of the schemas look for them: BKFD_DOCUMENTS names the folder.
void KeepDocument(const Strings& arguments, const std::string& document) {
    const char* const folder = std::getenv("BKFD_DOCUMENTS");
    if (folder == nullptr || document.empty() || getpid() != kTests) return;
    const auto has = [&](const char* option) {
        return std::ranges::find(arguments, option) != arguments.end();
    };
    if (!has("--json") && !has("--record")) return;
    auto command = arguments.begin();
    while (command->starts_with("--")) command += *command == "--machine" ? 2 : 1;
    const std::string schema = has("--record") ? "record" : *command;
    static int number = 0;
    fs::create_directories(folder);
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    std::ofstream(fs::path(folder) / (schema + "." + test->test_suite_name() + "." + test->name() +
                                      "." + std::to_string(++number) + ".json"))
        << document;
}

}  // namespace

CliRun RunCli(const Strings& arguments, const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    Console console(in, out, err);
    const int code = RunCommandLine(arguments, console);
    KeepDocument(arguments, out.str());
    return {code, out.str(), err.str()};
}

MachineCopy::MachineCopy(const std::string& example) {
    fs::copy(fs::path(BKFD_SOURCE_DIR) / "examples/machines" / example, Path(),
             fs::copy_options::recursive);
}

void MachineCopy::Edit(const std::function<void(nlohmann::ordered_json& facts)>& edit) const {
    auto facts = nlohmann::ordered_json::parse(Read("machine.json"));
    edit(facts);
    Write("machine.json", facts.dump(2));
}

void AddParasiteOf32Bits(const MachineCopy& machine) {
    constexpr char kEntries[] =
        "REGEDIT4\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
        "Browser Helper Objects\\{D0000000-0000-4000-8000-000000000001}]\r\n@=\"View\"\r\n\r\n"
        "[HKEY_CLASSES_ROOT\\Wow6432Node\\CLSID\\{D0000000-0000-4000-8000-000000000001}"
        "\\InProcServer32]"
        "\r\n@=\"C:\\\\WINDOWS\\\\system32\\\\view.dll\"\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\Internet Explorer\\Main]\r\n"
        "\"Start Page\"=\"http://hijack.example/\"\r\n";
    machine.Write("registry/z.reg", kEntries);
    machine.Write("drives/c/WINDOWS/SysWOW64/view.dll", "bytes");
}

CliRun RunOn(const HostFolder& machine, Strings arguments, const std::string& input) {
    arguments.insert(arguments.begin(), {"--machine", machine.Path()});
    return RunCli(arguments, input);
}

void ExpectGolden(const std::string& name, std::string text, const HostFolder& machine) {
    for (std::size_t at = 0; (at = text.find(machine.Path(), at)) != std::string::npos;) {
        text.replace(at, machine.Path().size(), "MACHINE");
    }
    const fs::path path = fs::path(BKFD_SOURCE_DIR) / "tests/cli/golden" / name;
    if (std::getenv("BKFD_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        return;
    }
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {}))
        << "differs from " << path;
}

}  // namespace bkfd
