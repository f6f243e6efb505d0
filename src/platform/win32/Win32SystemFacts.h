#pragma once

#include "platform/Machine.h"

namespace bkfd {

class Win32SystemFacts : public SystemFacts {
  public:
    std::uint32_t GetVersion() override;
    Result<WindowsVersion> GetVersionExW() override;
    std::uint32_t GetTickCount() override;
    Date GetLocalTime() override;
    void Sleep(std::uint32_t milliseconds) override;
    Text ExpandEnvironmentStringsW(TextView text) override;
    Text GetTempPathW() override;
    Result<Text> GetSystemWow64DirectoryW() override;
    bool IsWow64Process() override;
    bool IsUserAnAdmin() override;
    Text GetModuleFileNameW() override;
    Text FormatMessageW(std::uint32_t code) override;
    Text GetLocaleInfoW(LocaleFact fact) override;
    std::string WideCharToMultiByte(TextView text) override;
    Text MultiByteToWideChar(std::string_view bytes) override;
};

}  // namespace bkfd
