#pragma once

#include "base/Text.h"

namespace bkfd {

/// The text as UTF-16LE behind the mark FF FE, one character a byte: what `FileUtil::WriteTextFile`
/// and `SysUtil::EncodeText` take for a document of 16-bit characters.
Text WideDocument(TextView text);

}  // namespace bkfd
