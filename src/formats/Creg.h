#pragma once

#include <functional>
#include <string>

#include "formats/RegistryVisitor.h"

/// Registry files of the 95 family (USER.DAT, SYSTEM.DAT): a tree of keys (RGKN) over blocks of
/// records with their names and values (RGDB). Facts are from libcreg's documentation.
namespace bkfd {

/// Whether the bytes begin like such a file.
bool IsCreg(ByteView file);

/// Tells all keys and values, in the file's order. Names are decoded by `decode`; data is as
/// stored: texts in the code page, mostly without a NUL. Returns an error, as a clause for people,
/// if the file has no tree, else nothing; what else can't be read is told and passed over. It ends
/// whatever the file says: a key that is listed twice is not followed again.
std::string WalkCreg(ByteView file, const std::function<Text(std::string_view)>& decode,
                     RegistryVisitor& visitor);

}  // namespace bkfd
