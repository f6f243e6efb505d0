#pragma once

#include "services/KeyedList.h"
#include "services/Logger.h"

namespace bkfd {

/// Manufacturer and description of files from their version records, each read once in the
/// object's life.
class CFileInfoManager {
  public:
    void Init(LoggerRef logger);
    /// Both are empty for a file that is missing or has no version record.
    void GetFileInfo(const Text& fileName, Text& manufacturer, Text& description);

  private:
    LoggerRef logger_;
    KeyedList cache_;
};

}  // namespace bkfd
