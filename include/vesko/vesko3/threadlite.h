#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/function.h"
#include "vesko/vesko3/thread.h"

namespace Tovra::Vesko {

struct ThreadLiteInternal;

/// A thread that runs a delegate, for callers that do not want to derive a class.
///
/// The delegate is the thread's whole work: the thread ends when it returns. One that loops asks
/// its argument, with `looping()`, whether to go on. Ending the object stops the thread and waits
/// for it; what the delegate names must live until then.
/// Threads: as `CThread`.
class VESKO_API CThreadLite : public CThread {
public:
    /// Describes a thread and starts nothing; see `CThread` for what the last four mean.
    CThreadLite(TFunction1<void, CThreadLite&> proc, const char* name, int priority, int policy,
                int stackSize);
    ~CThreadLite() override;

private:
    void threadProc() override;

    ThreadLiteInternal* m_internal;
};

}  // namespace Tovra::Vesko
