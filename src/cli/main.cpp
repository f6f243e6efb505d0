#include "cli/CommandLine.h"

int main(int count, char** values) {
    bkfd::Console console = bkfd::ProcessConsole();
    return bkfd::RunCommandLine({values + 1, values + count}, console);
}
