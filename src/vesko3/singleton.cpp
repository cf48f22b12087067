#include "vesko3/singleton.h"

#include "vesko3/loglevel.h"

namespace Tovra::Vesko::Detail {

void reportRefusedExit(const SingletonPlace& place) {
    if (place.route == SingletonPlace::Route::direct) {
        logInfo("%s:%s atexit failed, line : %d\n", place.file, place.name, place.line);
        return;
    }
    logFilter(infoLevel, "Unknown", place.file, place.name, place.line, "Unknown",
              "%s:%s atexit failed, line : %d\n", place.file, place.name, place.line);
}

}  // namespace Tovra::Vesko::Detail
