#include "platform/win32/CountedNames.h"

#include <windows.h>
// Behind windows.h.
#include <winternl.h>

#include <cstring>

#include "win32/DynamicCall.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// KEY_VALUE_PARTIAL_INFORMATION of the driver kit, up to its data.
struct PartialInformation {
    ULONG titleIndex;
    ULONG type;
    ULONG dataLength;
};

constexpr ULONG kPartialInformation = 2;  // KeyValuePartialInformation

struct ValueCalls {
    using Query = NTSTATUS(NTAPI*)(HANDLE, UNICODE_STRING*, ULONG, void*, ULONG, ULONG*);
    using Set = NTSTATUS(NTAPI*)(HANDLE, UNICODE_STRING*, ULONG, ULONG, void*, ULONG);
    using Delete = NTSTATUS(NTAPI*)(HANDLE, UNICODE_STRING*);

    DynamicCall<Query> query{"ntdll.dll", "NtQueryValueKey"};
    DynamicCall<Set> set{"ntdll.dll", "NtSetValueKey"};
    DynamicCall<Delete> remove{"ntdll.dll", "NtDeleteValueKey"};
    DynamicCall<decltype(&::RtlNtStatusToDosError)> toError{"ntdll.dll", "RtlNtStatusToDosError"};

    static const ValueCalls& Get() {
        static const ValueCalls calls;
        return calls;
    }
};

/// A name as the native calls take it.
class CountedName {
  public:
    explicit CountedName(TextView name) : text_(name) {
        counted_.Length = static_cast<USHORT>(text_.size() * sizeof(char16_t));
        counted_.MaximumLength = counted_.Length;
        counted_.Buffer = Wide(text_.data());
    }
    CountedName(const CountedName&) = delete;
    CountedName& operator=(const CountedName&) = delete;
    UNICODE_STRING* Get() { return &counted_; }

  private:
    Text text_;
    UNICODE_STRING counted_{};
};

Status StatusOfNative(NTSTATUS status) {
    if (status >= 0) return {};
    const auto& toError = ValueCalls::Get().toError;
    return {toError.IsThere() ? toError(status) : SystemError::InvalidName};
}

/// The 95 family has no such names, and of these calls hulls at most.
template <class Call>
bool CanBeMade(const Call& call, TextView name) {
    constexpr std::size_t kLongestName = 0x7FFF;
    return HasWideCalls() && call.IsThere() && name.size() < kLongestName;
}

}  // namespace

Result<RegistryValue> CountedNames::QueryValue(void* key, TextView name) {
    const auto& query = ValueCalls::Get().query;
    if (!CanBeMade(query, name)) return Status{SystemError::InvalidName};
    CountedName counted(name);
    PartialInformation head{};
    for (ULONG size = 512;;) {
        Bytes room(size);
        ULONG needed = 0;
        const Status read = StatusOfNative(
            query(key, counted.Get(), kPartialInformation, room.data(), size, &needed));
        const bool isTooSmall =
            read.code == ERROR_MORE_DATA || read.code == ERROR_INSUFFICIENT_BUFFER;
        if (isTooSmall && needed > size) {
            size = needed;
            continue;
        }
        if (!read.IsOk()) return read;
        std::memcpy(&head, room.data(), sizeof head);
        if (head.dataLength > size - sizeof head) return Status{SystemError::InvalidData};
        const auto data = room.begin() + sizeof head;
        return RegistryValue{RegistryType{head.type}, Bytes(data, data + head.dataLength)};
    }
}

Status CountedNames::SetValue(void* key, TextView name, const RegistryValue& value) {
    const auto& set = ValueCalls::Get().set;
    if (!CanBeMade(set, name)) return {SystemError::InvalidName};
    CountedName counted(name);
    Bytes data = value.data;
    const auto size = static_cast<ULONG>(data.size());
    return StatusOfNative(set(key, counted.Get(), 0, static_cast<ULONG>(value.type),
                              data.empty() ? nullptr : data.data(), size));
}

Status CountedNames::DeleteValue(void* key, TextView name) {
    const auto& remove = ValueCalls::Get().remove;
    if (!CanBeMade(remove, name)) return {SystemError::InvalidName};
    CountedName counted(name);
    return StatusOfNative(remove(key, counted.Get()));
}

}  // namespace bkfd
