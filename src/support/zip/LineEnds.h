#pragma once

#include "formats/Zip.h"

namespace bkfd {

enum class LineEnds { Keep, CrLfToLf, LfToCrLf };

/// A reader that converts line ends on the way. Content with a NUL in its first 4 KiB isn't text
/// and stays as it is, and so does a CR LF that is asked to become one.
ContentReader ConvertLineEnds(LineEnds conversion, ContentReader content);

}  // namespace bkfd
