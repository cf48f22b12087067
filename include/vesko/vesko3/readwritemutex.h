#pragma once

#include "vesko/export.h"

namespace Tovra::Vesko {

struct RWMutexInternal;

/// Whom a read-write lock serves first.
enum RWPriority : int {
    priorityDefault = 0,  // cheap for readers; a writer spins until the readers inside have left
    priorityWriter = 1    // nobody spins; waiting writers go before new readers
};

/// A lock that many readers, or one writer, hold.
///
/// A writer on its way holds new readers up in both modes; under `priorityWriter` writers hand the
/// lock from one to the next, and readers wait until no writer is left, so that a steady stream of
/// writers can starve them. The lock is not recursive and a reader cannot become a writer: who holds
/// it does not enter it again. It must be free when it ends.
/// Threads: any thread may call any operation. Under `priorityDefault` a writer leaves on the thread
/// that entered.
class VESKO_API CReadWriteMutex {
public:
    CReadWriteMutex();

    /// @param priority any other value is reported in the log and taken as `priorityDefault`
    explicit CReadWriteMutex(enum RWPriority priority);

    /// Ends the lock. Under `priorityDefault` holds that are still open are reported in the log.
    ~CReadWriteMutex();
    CReadWriteMutex(const CReadWriteMutex&) = delete;
    CReadWriteMutex& operator=(const CReadWriteMutex&) = delete;

    /// Blocks until the caller holds the lock as one of its readers.
    /// @return true
    bool enterReading();

    /// Blocks until the caller holds the lock alone.
    /// @return true
    bool enterWriting();

    /// Gives one hold back, of either kind.
    /// @return false when nobody holds the lock; `priorityDefault` says so in the log as well
    bool leave();

private:
    RWMutexInternal* m_internal;
};

}  // namespace Tovra::Vesko
