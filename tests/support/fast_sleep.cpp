// usleep passes thirty times as fast, so that a launch takes tens of ms: of the
// library, and of the database where it waits for another process's lock.
#include <ctime>
#include <unistd.h>

int usleep(useconds_t us) {
    const timespec duration{0, static_cast<long>(us % 30'000'000) * 1000 / 30};
    return nanosleep(&duration, nullptr);
}
