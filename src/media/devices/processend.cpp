#include "media/devices/processend.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace media::devices {

void endProcessWithoutTearDownIf(bool (*stuck)())
{
#ifdef __GLIBC__
    on_exit(
        [](int status, void* rule) {
            if (!reinterpret_cast<bool (*)()>(rule)())
                return;
            static_cast<void>(std::fflush(nullptr));
            ::_exit(status);
        },
        reinterpret_cast<void*>(stuck));
#else
    (void)stuck;
#endif
}

} // namespace media::devices
