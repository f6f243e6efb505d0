#include "support/cl.h"

#include <algorithm>
#include <cmath>

#include "base/Surrogates.h"
#include "platform/Machine.h"
#include "platform/undo/RecordedOperation.h"
#include "resources/BuildSettings.h"
#include "services/ErrorMode.h"
#include "services/FileUtil.h"
#include "services/SysUtil.h"
#include "support/zip/cZip.h"

namespace bkfd {
namespace {

constexpr double kLongestExchange = 300;  // seconds
constexpr std::uint32_t kPollPause = 5;   // milliseconds

constexpr std::int32_t kAcceptedStatuses[] = {200, 206, 302, 304};

double SecondsSinceMidnight() {
    const CivilTime now = ToCivil(TheMachine().System().GetLocalTime());
    return (now.hour * 60 + now.minute) * 60 + now.second + now.millisecond / 1000.0;
}

void Check(Status status) {
    if (status.IsOk()) return;
    throw RuntimeError(static_cast<std::int32_t>(status.code),
                       SysUtil::SystemErrorText(status.code));
}

/// The counter begins anew at midnight, and an exchange that is under way then has no limit: on
/// purpose.
void WaitForEnd(HttpRequest& request) {
    const double start = std::round(SecondsSinceMidnight());
    while (request.readyState() != ReadyState::Complete &&
           SecondsSinceMidnight() <= start + kLongestExchange) {
        SysUtil::PumpMessages();
        TheMachine().System().Sleep(kPollPause);
    }
}

bool JudgeEnd(HttpRequest& request, Text& errorText) {
    const std::int32_t state = request.readyState();
    if (state == ReadyState::Opened || state == ReadyState::Receiving) {
        request.abort();
        errorText = u"Cannot send. ";
        return false;
    }
    const Result<std::int32_t> status = request.status();
    Check(status);
    if (std::ranges::find(kAcceptedStatuses, status.value) != std::end(kAcceptedStatuses)) {
        return true;
    }
    errorText = request.statusText();
    return false;
}

bool Post(const Text& body, Text& errorText) {
    auto request = TheMachine().HttpRequests().CreateXmlHttpRequest();
    Check(request);
    Check(request.value->open(u"POST", BuildSettings::SupportEndpoint));
    Check(request.value->setRequestHeader(u"Content-Type", u"application/x-www-form-urlencoded"));
    Check(request.value->send(body));
    WaitForEnd(*request.value);
    return JudgeEnd(*request.value, errorText);
}

/// What is left of another report under this name would become a part of this one.
bool IsFree(const Text& file) {
    return TheMachine().FileSystem().GetFileAttributesW(file).IsNotThere();
}

/// The name of a temporary file and ".zip" behind it, for an archive that isn't there.
Text NewArchiveName() {
    constexpr int kTries = 100;
    std::vector<Text> taken;  // they stay until the end, so that each try gives another name
    Text archive;
    for (int i = 0; i < kTries && archive.empty(); ++i) {
        Text temporary = SysUtil::GetTempFileName(u"sc");
        if (IsFree(temporary + u".zip")) {
            archive = temporary + u".zip";
        } else {
            taken.push_back(std::move(temporary));
        }
    }
    for (const Text& temporary : taken) (void)TheMachine().FileSystem().DeleteFileW(temporary);
    if (archive.empty()) throw RuntimeError(ErrorNumber::PathFileAccess);
    return archive;
}

}  // namespace

void cl::Do1(const LoggerRef&, const Text& category, ValueBag& values, Text& errorText,
             bool& success) {
    errorText.clear();
    success = false;
    PackedReport report;
    try {
        NameReport(category, report);
        PackEnvelope(MakeEnvelope(report.category, report.id, values), report);
        success = Post(FormBody(report), errorText);
    } catch (...) {
        errorText = CurrentError().Description();
        success = false;
        const RecordedOperation operation(UndoOperation::kBookkeeping);
        (void)TheMachine().FileSystem().DeleteFileW(report.envelopeFile);
        (void)TheMachine().FileSystem().DeleteFileW(report.archiveFile);
    }
}

Text cl::FormBody(const PackedReport& report) {
    Text subject;
    Text value;
    Escape(report.category + u"\\" + report.id, subject);
    Escape(SysUtil::EncodeText(FileUtil::ReadTextFile(report.archiveFile)), value);
    return u"subject=" + subject + u"&value=" + value;
}

void cl::Escape(const Text& text, Text& result) {
    result = Replace(text, u"+", u"%2B");
    result = Replace(result, u"\r", u"%0D");
    result = Replace(result, u"\n", u"%0A");
    result = Replace(result, u"\\", u"%5C");
}

namespace {

/// Most values are long texts that need no escaping: the envelope has room for them from the start,
/// and they go in piece by piece, so that hardly anything is in memory twice.
std::size_t EstimatedSize(ValueBag& values) {
    std::size_t size = 1024;
    for (const auto& param : values) {
        for (const Variant& value : param->Values()) {
            size += 2 * param->Name().size() + 16 + (value.IsText() ? value.TextRef().size() : 0);
        }
    }
    return size;
}

void AppendEscaped(Text& out, TextView text) {
    constexpr std::size_t kPiece = 16 * 1024;
    while (!text.empty()) {
        const bool cutsPair = text.size() > kPiece && IsPairAt(text, kPiece - 1);
        const TextView piece = text.substr(0, cutsPair ? kPiece + 1 : kPiece);
        out += SysUtil::XmlEscape(piece);
        text.remove_prefix(piece.size());
    }
}

}  // namespace

Text MakeEnvelope(const Text& category, const Text& id, ValueBag& values) {
    Text envelope;
    envelope.reserve(EstimatedSize(values));
    envelope += u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\" ?><xml><cat>";
    AppendEscaped(envelope, category);
    envelope += u"</cat><id>";
    AppendEscaped(envelope, id);
    envelope += u"</id>";
    for (const auto& param : values) {
        for (const Variant& value : param->Values()) {
            envelope += u"<" + param->Name() + u">";
            AppendEscaped(envelope, value.IsText() ? TextView(value.TextRef()) : value.AsText());
            envelope += u"</" + param->Name() + u">";
        }
    }
    envelope += u"</xml>";
    return envelope;
}

void NameReport(const Text& category, PackedReport& report) {
    report.category = Replace(category, u"/", u"\\");
    report.id = SysUtil::NewUniqueId();
}

void PackEnvelope(const Text& envelope, PackedReport& report) {
    // New files alone, which nobody wants to undo. No message is pumped meanwhile, so that no other
    // operation comes to stand inside.
    const RecordedOperation operation(UndoOperation::kBookkeeping);
    report.envelopeFile = WithBackslash(SysUtil::GetTempPath()) + report.id + u".xml";
    report.archiveFile = NewArchiveName();
    FileUtil::WriteTextFile(report.envelopeFile, envelope);

    cZip zip;
    zip.SetZipFile(report.archiveFile);
    zip.SetStoreFolderNames(false);
    zip.SetRecurseSubDirs(false);
    zip.ClearFileSpecs();
    zip.AddFileSpec(report.envelopeFile);
    zip.Zip();
}

}  // namespace bkfd
