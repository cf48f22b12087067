#pragma once

#include <atomic>
#include <cstdlib>

#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/log.h"

namespace Tovra::Vesko::Detail {

/// Where a singleton is made, and how it prints.
struct SingletonPlace {
    enum class Route { direct, filtered };

    const char* name;  // qualified name of its `instance`
    Route route;
    const char* file;
    int line;
};

/// What registers exit handlers. Tests put a function here that refuses.
inline constinit std::atomic<int (*)(void (*)())> s_registerAtExit{&std::atexit};

/// Says that an exit handler was refused: the singleton then lives to the end of the process.
void reportRefusedExit(const SingletonPlace& place);

/// The one object of a class: made on first use, by one thread, and deleted at exit in the reverse
/// order of creation. `T` lets this class in as a friend.
template <class T>
class Singleton {
public:
    static T* instance(const SingletonPlace& place) {
        if (T* ready = s_object.load(std::memory_order_acquire))
            return ready;  // pairs with the store
        CGuard guard(creationLock());
        if (T* ready = s_object.load(std::memory_order_relaxed)) return ready;
        T* made = new T;
        s_object.store(made, std::memory_order_release);
        // After the constructor, so that what T itself brought up outlives it.
        if (s_registerAtExit.load()(&destroy) != 0) reportRefusedExit(place);
        return made;
    }

private:
    // Never destroyed: what ends late may still ask.
    static CMutex& creationLock() {
        static CMutex& s_lock = *new CMutex;
        return s_lock;
    }

    static void destroy() {
        delete s_object.load(std::memory_order_acquire);
        s_object.store(nullptr, std::memory_order_release);
    }

    static constinit inline std::atomic<T*> s_object{nullptr};
};

}  // namespace Tovra::Vesko::Detail
