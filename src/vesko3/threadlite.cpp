#include "vesko/vesko3/threadlite.h"

namespace Tovra::Vesko {

struct ThreadLiteInternal {
    const TFunction1<void, CThreadLite&> proc;
};

CThreadLite::CThreadLite(TFunction1<void, CThreadLite&> proc, const char* name, int priority,
                         int policy, int stackSize)
    : CThread(name, priority, policy, stackSize), m_internal(new ThreadLiteInternal{proc}) {}

CThreadLite::~CThreadLite() {
    if (!isThreadOver()) destroyThread();
    while (!isThreadOver()) sleep(1);  // of a stop that another caller, or the thread, began
    delete m_internal;
}

void CThreadLite::threadProc() { m_internal->proc(*this); }

}  // namespace Tovra::Vesko
