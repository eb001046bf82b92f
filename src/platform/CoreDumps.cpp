#include "platform/CoreDumps.h"

#include <sys/resource.h>

void disableCoreDumps() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}
