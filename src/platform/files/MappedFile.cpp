#include "platform/files/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>

namespace bkfd {

/// A mapping that the handler of disk errors knows. Watches are used again and never freed, so that
/// the handler can go through them at any time.
struct MappedFile::Watch {
    std::atomic<std::uintptr_t> begin = 0;
    std::atomic<std::uintptr_t> end = 0;  // 0: not in use
    std::atomic<bool> hasFailed = false;
    std::atomic<Watch*> next = nullptr;

    static std::atomic<Watch*> first;
    static std::mutex mutex;
    static struct sigaction former;

    static Watch* Take(std::uint8_t* bytes, std::size_t size);
    static void OnBusError(int signal, siginfo_t* facts, void* context);
    static bool Mend(std::uintptr_t address);
};

std::atomic<MappedFile::Watch*> MappedFile::Watch::first = nullptr;
std::mutex MappedFile::Watch::mutex;
struct sigaction MappedFile::Watch::former;

namespace {

constexpr int kAccess = PROT_READ | PROT_WRITE;

}  // namespace

/// Puts zeros in place of the page if it is one of a mapping; only system calls, as it runs within
/// a signal.
bool MappedFile::Watch::Mend(std::uintptr_t address) {
    for (Watch* watch = first.load(); watch != nullptr; watch = watch->next.load()) {
        if (address < watch->begin.load() || address >= watch->end.load()) continue;
        const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        void* const page = reinterpret_cast<void*>(address / pageSize * pageSize);
        if (mmap(page, pageSize, kAccess, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
            MAP_FAILED) {
            return false;
        }
        watch->hasFailed = true;
        return true;
    }
    return false;
}

void MappedFile::Watch::OnBusError(int, siginfo_t* facts, void*) {
    const int error = errno;
    // Anything else meets the former handler when the instruction is tried again.
    if (!Mend(reinterpret_cast<std::uintptr_t>(facts->si_addr))) {
        sigaction(SIGBUS, &former, nullptr);
    }
    errno = error;
}

MappedFile::Watch* MappedFile::Watch::Take(std::uint8_t* bytes, std::size_t size) {
    const std::lock_guard lock(mutex);
    if (first.load() == nullptr) {
        struct sigaction handler {};
        handler.sa_sigaction = OnBusError;
        handler.sa_flags = SA_SIGINFO;
        sigaction(SIGBUS, &handler, &former);
    }
    Watch* watch = first.load();
    while (watch != nullptr && watch->end.load() != 0) watch = watch->next.load();
    const bool isNew = watch == nullptr;
    if (isNew) watch = new Watch;
    watch->hasFailed = false;
    watch->begin = reinterpret_cast<std::uintptr_t>(bytes);
    watch->end = reinterpret_cast<std::uintptr_t>(bytes) + size;
    if (isNew) {
        watch->next = first.load();
        first = watch;
    }
    return watch;
}

MappedFile::~MappedFile() {
    if (watch_ != nullptr) watch_->end = 0;
    if (bytes_ != nullptr) munmap(bytes_, size_);
}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(file_, other.file_);
    std::swap(facts_, other.facts_);
    std::swap(bytes_, other.bytes_);
    std::swap(size_, other.size_);
    std::swap(watch_, other.watch_);
    return *this;
}

bool MappedFile::HasFailed() const {
    return watch_ != nullptr && watch_->hasFailed;
}

bool MappedFile::Open(const std::string& path, std::uint64_t size) {
    *this = MappedFile();
    // Not blocked by a pipe that nobody writes to.
    file_ = HostFile(OpenUntouched(path, 0));
    if (!file_.IsOpen() || fstat(file_.Get(), &facts_) != 0) return false;
    if (!S_ISREG(facts_.st_mode)) {
        errno = S_ISDIR(facts_.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    return Map(std::max<std::size_t>(FileSize(), size));
}

bool MappedFile::OpenAgain(const MappedFile& other) {
    *this = MappedFile();
    file_ = HostFile(fcntl(other.file_.Get(), F_DUPFD_CLOEXEC, 0));
    facts_ = other.facts_;
    return file_.IsOpen() && Map(other.size_);
}

bool MappedFile::Map(std::size_t size) {
    if (size == 0) return true;
    // The room first, since a mapping can't be read behind the last page of its file.
    void* const room =
        mmap(nullptr, size, kAccess, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) return false;
    bytes_ = static_cast<std::uint8_t*>(room);
    size_ = size;
    watch_ = Watch::Take(bytes_, size_);
    return FileSize() == 0 ||
           mmap(bytes_, FileSize(), kAccess, MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE, file_.Get(),
                0) != MAP_FAILED;
}

}  // namespace bkfd
