#pragma once

#include <string>
#include <vector>

#include "detection/AddedSignatures.h"

namespace bkfd {

/// A list of signatures as a record tells of it.
struct SignatureListInfo {
    std::string name;  // of the file, or "built-in"
    std::size_t entries = 0;
    std::string sha256;  // of the file, or of the compiled numbers, a line each
};

struct SignatureFiles {
    AddedSignatures signatures;
    std::vector<SignatureListInfo> lists;
};

/// Reads parasites.txt and good.txt of a folder, at least one of which must be there. A line is
/// empty, begins with "#", or is a row of columns that are separated by tabs: the SHA-256, or size
/// and content hash with a blank between them; a name; a source. Anything else, and content that
/// stands in both lists, is a CommandError that names the line.
SignatureFiles ReadSignatureFiles(const std::string& folder);
/// What the compiled lists are known by.
SignatureListInfo BuiltInSignatures();

}  // namespace bkfd
