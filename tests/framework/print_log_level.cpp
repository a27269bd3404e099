// Prints the level that a process starts with.
#include <cstdio>

#include "platform/tavo_log.h"

int main() {
    return std::printf("%u", getTavoLogLevel()) < 0;
}
