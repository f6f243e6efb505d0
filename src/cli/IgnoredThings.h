#pragma once

#include <vector>

#include "cli/Console.h"
#include "cli/Json.h"
#include "ignore/PassOver.h"

/// What was passed over as the ignore list says, for the results of commands.
namespace bkfd {

/// Adds those that aren't there yet: several users of a machine meet the same things.
void AddIgnored(std::vector<PassedOver>& all, const std::vector<PassedOver>& more);
Json IgnoredToJson(const std::vector<PassedOver>& ignored);
/// Of an entry by content class and path are null, of another one the hash is.
Json EntryToJson(const IgnoreEntry& entry);
void PrintIgnored(const Console& console, const std::vector<PassedOver>& ignored);
/// "; 2 ignored", for the end of a sentence; empty for none.
std::string IgnoredClause(const std::vector<PassedOver>& ignored);

}  // namespace bkfd
