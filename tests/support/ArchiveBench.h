#pragma once

#include <string>

#include "common/EngineBench.h"

/// Archives in the hands of other programs.
namespace bkfd::ArchiveBench {

/// Runs a command over the machine's archive C:\out\a.zip, copied to the host as "%"; what it
/// prints, and its failure as a last line.
std::string Inspect(const MemoryMachine& machine, std::string command);

/// An archive of a.txt, b.txt and c.txt, each holding its letter, made as the command says.
Bytes MadeByZip(std::string command);

/// The names in the archive, one a line, behind what unzip and 7z find wrong.
std::string Names(const MemoryMachine& machine);

/// A folder with something of every kind.
void AddFiles(MemoryMachine& machine);

}  // namespace bkfd::ArchiveBench
