#include <algorithm>
#include <array>
#include <cstring>

#include "base/RuntimeError.h"
#include "platform/Machine.h"
#include "services/SysUtil.h"
#include "support/zip/cZip.h"

namespace bkfd {

/// Raises the events of an archive's object; an error of a handler stays here, since the library
/// calls from outside.
struct ZipEvents {
    static void Progress(const cZip& zip, const Text& message) {
        if (zip.Progress) zip.Progress(1, message);
    }
    static void PasswordRequest(const cZip& zip, Text& password, bool& cancel) {
        if (zip.PasswordRequest) zip.PasswordRequest(password, cancel);
    }
    /// None of the callbacks raises it: the library has no question that it would answer.
    static void Cancel(const cZip& zip, const Text& message, bool& cancel) {
        if (zip.Cancel) zip.Cancel(message, cancel);
    }
};

namespace {

// The library's callbacks have no other way of reaching the object of the run.
cZip* runningZip = nullptr;
bool isCancelled = false;

constexpr std::ptrdiff_t kLongestPassword = 254;  // characters

template <class Body>
void PassOverErrors(Body&& body) {
    try {
        body();
    } catch (...) {
        // An exception must not cross the library.
    }
}

void Print(const char* text, std::uint32_t length) {
    if (length <= 1 || length >= 32000) return;
    PassOverErrors([&] {
        const std::string_view bytes(text, length);
        Text message = FromWtf8(bytes.substr(0, bytes.find('\0')));
        std::ranges::replace(message, u'/', u'\\');
        ZipEvents::Progress(*runningZip, message);
    });
}

int Password(std::span<char> buffer, const char*, const char*) {
    if (isCancelled) return 1;
    Text password;
    bool cancel = false;
    PassOverErrors([&] { ZipEvents::PasswordRequest(*runningZip, password, cancel); });
    password = Left(Trim(password), kLongestPassword);
    if (password.empty() || cancel) {
        isCancelled = true;
        return 1;
    }
    std::string bytes = ToWtf8(password);
    for (; bytes.size() >= buffer.size() && !password.empty(); bytes = ToWtf8(password)) {
        password.pop_back();
    }
    std::ranges::copy(bytes, buffer.begin());
    buffer[bytes.size()] = '\0';
    return 0;
}

void Comment(std::span<char> buffer) {
    if (!buffer.empty()) buffer[0] = '\0';
}

int Service(const char*, std::uint32_t) {
    return 0;
}

/// In another folder than the asked one, other files of the same names would be packed.
void EnterBaseFolder(const Text& folder) {
    if (folder.empty()) return;
    const Status entered = TheMachine().FileSystem().SetCurrentDirectoryW(folder);
    if (entered.IsOk()) return;
    throw RuntimeError(ErrorNumber::PathFileAccess,
                       u"'" + folder + u"': " + SysUtil::SystemErrorText(entered.code));
}

}  // namespace

void RunZipLibrary(cZip& zip, ZpOptionRecord& options, const std::vector<Text>& specs) {
    isCancelled = false;
    runningZip = &zip;
    EnterBaseFolder(Trim(zip.BasePath()));
    ZpInit({&Print, &Password, &Comment, &Service});
    options.slots[ZpSlot::BaseFolder] = ZpText(ToWtf8(zip.BasePath()));
    ZpSetOptions(options);
    ZpListRecord list;
    // One free position stays behind the last name.
    if (specs.size() >= list.names.size()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    std::ranges::transform(specs, list.names.begin(),
                           [](const Text& spec) { return ZpText(ToWtf8(spec)); });
    (void)ZpArchive(static_cast<std::int32_t>(specs.size()), ToWtf8(zip.ZipFile()), list);
}

}  // namespace bkfd
