#include "services/ApplicationState.h"

namespace bkfd {

bool gIsNT = false;
bool gIsNT4 = false;
Text gWindowsPath;
Text gSystemPath;

}  // namespace bkfd
