#include "vesko/component/client.h"

#include "component/clientinstancelist.h"
#include "component/clientinternal.h"
#include "component/currentuser.h"
#include "component/errors.h"
#include "vesko/component/comptr.h"
#include "vesko/vesko3/error.h"
#include "vesko3/assert.h"
#include "vesko3/logmacros.h"

namespace Tovra::Component {

using Vesko::CGuard;
using Vesko::CTime;

namespace {

bool refuse() {
    Vesko::setLastError(notOffered);
    return false;
}

}  // namespace

IClient::IFactory::IFactory() = default;
IClient::IFactory::IFactory(const IFactory&) = default;
IClient::IFactory& IClient::IFactory::operator=(const IFactory&) = default;
IClient::IFactory::~IFactory() = default;

const char* IClient::IFactory::iid() { return "Client"; }

IClient* IClient::IFactory::instance(int userId) {
    return CClientInstanceList::findClientInstance(ClassID(clsid()), userId);
}

IClient::IClient() : m_internal(nullptr) {}
IClient::~IClient() { delete m_internal; }

// Copies share the record of what they copy: nobody may make one, and the header says so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
IClient::IClient(const IClient& other) = default;
IClient& IClient::operator=(const IClient& other) = default;
#pragma GCC diagnostic pop

int IClient::addRef() { return IUnknown::addRef(); }
int IClient::release() { return IUnknown::release(); }

bool IClient::checkAuthorityString(const char*) { return refuse(); }
bool IClient::setCurrentTime(const CTime&, int) { return refuse(); }
bool IClient::getCurrentTime(CTime&) { return refuse(); }
bool IClient::getChallenge(ServerChallenge&) { return refuse(); }
bool IClient::loginFirst() { return refuse(); }
bool IClient::loginAgain(const ServerInfo&) { return refuse(); }

bool IClient::attachStatusProc(Proc proc) {
    VESKO_ASSERT(m_internal);
    return m_internal->statusSignal.attach(proc);
}

bool IClient::detachStatusProc(Proc proc) {
    VESKO_ASSERT(m_internal);
    return m_internal->statusSignal.detach(proc);
}

bool IClient::getServerInfo(ServerInfo& info) {
    VESKO_ASSERT(m_internal);
    bool hasUserName = false;
    {
        CGuard guard(m_internal->mutex);
        hasUserName = !m_internal->userName.empty();
        info.userName = m_internal->userName.c_str();
    }
    info.address = m_internal->address.c_str();
    info.port = m_internal->port;
    info.password = m_internal->password.c_str();
    info.text1 = m_internal->text1.c_str();
    info.flag1 = m_internal->flag1;
    info.flag2 = m_internal->flag2;
    info.text2 = m_internal->text2.c_str();
    info.text3 = m_internal->text3.c_str();
    info.text4 = m_internal->text4.c_str();
    info.text5 = m_internal->text5.c_str();
    info.number1 = m_internal->number1;
    info.text6 = m_internal->text6.c_str();
    info.flag3 = m_internal->flag3;
    info.number2 = m_internal->number2;
    info.number3 = m_internal->number3;
    info.text7 = m_internal->text7.c_str();
    info.text8 = m_internal->text8.c_str();
    info.text9 = m_internal->text9.c_str();
    if (!hasUserName) VESKO_FILTERED_OBJECT(warn, "userName of client is a null string!\n");
    return true;
}

bool IClient::saveUserName(const char* name) {
    VESKO_ASSERT(m_internal);
    bool isFirst = false;
    {
        CGuard guard(m_internal->mutex);
        isFirst = !m_internal->userNameSaved;
        if (isFirst) m_internal->userName = name != nullptr ? name : "";
        m_internal->userNameSaved = true;
    }
    if (!isFirst) VESKO_FILTERED_OBJECT(warn, "username of client has already saved.\n");
    return true;
}

bool IClient::getLoginTime(CTime& time) {
    VESKO_ASSERT(m_internal);
    CGuard guard(m_internal->mutex);
    time = m_internal->loginTime;
    return true;
}

bool IClient::abort(int reason) {
    VESKO_ASSERT(m_internal);
    Detail::CComponentHelper::addRef(this);
    const TComPtr<IClient> self(this);  // a procedure may release the last other reference
    m_internal->statusSignal.emit(m_internal->customData, ClassID(m_internal->classId.c_str()),
                                  self, statusAborted, reason);
    return logout();
}

void IClient::setCustomData(void* data) {
    VESKO_ASSERT(m_internal);
    m_internal->customData = data;
}

void* IClient::getCustomData() {
    VESKO_ASSERT(m_internal);
    return m_internal->customData;
}

int IClient::getCurrentUserID() { return currentUser(); }

}  // namespace Tovra::Component
