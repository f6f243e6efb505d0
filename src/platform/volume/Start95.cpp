#include "platform/model/WindowsPath.h"
#include "platform/volume/StartSteps.h"

// What only the 95 family starts.
namespace bkfd {
namespace {

Text IniLine(StartBuilder& start, TextView file, TextView section, TextView name) {
    const Text path = WindowsPath::Join(start.Facts().WindowsFolder(), file);
    bool isInside = false;
    for (const Text& line : Parts(start.Ansi().Decode(start.ReadBytes(path)), u"\r\n")) {
        if (line.starts_with(u'[')) isInside = EqualsIgnoreCase(line, section);
        const std::size_t sign = line.find(u'=');
        if (!isInside || sign == Text::npos) continue;
        if (EqualsIgnoreCase(Trim(TextView(line).substr(0, sign)), name)) {
            return Trim(TextView(line).substr(sign + 1));
        }
    }
    return {};
}

}  // namespace

void StartSystemOf95(StartBuilder& start) {
    for (const TextView name : {u"KERNEL32.DLL", u"MSGSRV32.EXE", u"MPREXE.EXE"}) {
        if (const auto file = start.FileOfWindows(name)) start.StartFile(*file);
    }
}

void StartIniFiles(StartBuilder& start) {
    const struct {
        TextView file;
        TextView section;
        TextView name;
    } lines[] = {{u"WIN.INI", u"[windows]", u"load"},
                 {u"WIN.INI", u"[windows]", u"run"},
                 {u"SYSTEM.INI", u"[boot]", u"shell"}};
    StartAccount& machine = start.Machine();
    for (const auto& line : lines) {
        const StartReason reason{StartPlace::Kind::IniFile,
                                 Text(line.file) + u' ' + Text(line.name)};
        const Text value = IniLine(start, line.file, line.section, line.name);
        // "shell" is one command line, the others name programs.
        const bool isOne = line.name == u"shell";
        for (const Text& program : isOne ? std::vector<Text>{value} : Parts(value, u" ,")) {
            (void)start.Start(machine, program, reason, {!isOne, false});
        }
    }
}

}  // namespace bkfd
