#include <malloc.h>

#include "cli/CommandLine.h"

int main(int count, char** values) {
    // The texts of a report are large: each goes back to the system as soon as it is dropped.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    bkfd::Console console = bkfd::ProcessConsole();
    return bkfd::RunCommandLine({values + 1, values + count}, console);
}
