#include "component/clientinternal.h"

#include <cstring>

#include "component/serverinfointernal.h"
#include "vesko3/assert.h"

namespace Tovra::Component {

using Vesko::CGuard;
using Vesko::CString;
using Vesko::CTime;

namespace {

constexpr std::uint64_t s_idleMilliSeconds = 300'000;

bool same(const CString& mine, const char* theirs) { return mine == textOf(theirs); }

bool classFits(const ClientInternal& client, const ClassID& clsid) {
    const std::size_t length = std::strcspn(clsid.name, ".");
    return client.classId.compare(0, length, clsid.name, length) == 0;
}

}  // namespace

ClientInternal::ClientInternal(const ClassID& clsid, const ServerInfo& info, bool isExplicit)
    : classId(clsid.name),
      address(textOf(info.address)),
      port(info.port),
      userName(textOf(info.userName)),
      password(textOf(info.password)),
      text1(textOf(info.text1)),
      text4(textOf(info.text4)),
      text5(textOf(info.text5)),
      text6(textOf(info.text6)),
      flag1(info.flag1),
      flag2(info.flag2),
      number1(info.number1),
      text2(textOf(info.text2)),
      text3(textOf(info.text3)),
      flag3(info.flag3),
      number2(info.number2),
      number3(info.number3),
      text7(textOf(info.text7)),
      text8(textOf(info.text8)),
      text9(textOf(info.text9)),
      lastCheckTime(CTime::getCurrentMilliSecond()),
      explicitClient(isExplicit) {}

ClientInternal& ClientInternal::of(const IClient* client) {
    // NOLINTNEXTLINE(modernize-use-nullptr): the text is printed
    VESKO_ASSERT(client != NULL && client->m_internal != NULL);
    return *client->m_internal;
}

void ClientInternal::attachTo(IClient* client, ClientInternal* record) {
    // NOLINTNEXTLINE(modernize-use-nullptr): the text is printed
    VESKO_ASSERT(client != NULL && client->m_internal == NULL);
    client->m_internal = record;
}

bool ClientInternal::hasUserName(const char* name) {
    CGuard guard(mutex);
    return same(userName, name);
}

bool ClientInternal::isForServer(const ServerInfo& info) {
    return same(address, info.address) && port == info.port && hasUserName(info.userName) &&
           same(password, info.password) && same(text1, info.text1) && flag1 == info.flag1 &&
           flag2 == info.flag2 && number1 == info.number1 && same(text2, info.text2) &&
           same(text3, info.text3) && same(text7, info.text7) && same(text8, info.text8) &&
           flag3 == info.flag3 && number2 == info.number2 && same(text6, info.text6) &&
           same(text4, info.text4);
}

void clientCreateInternal(IClient* client, const ClassID& clsid, const ServerInfo& info,
                          bool explicitClient) {
    ClientInternal::attachTo(client, new ClientInternal(clsid, info, explicitClient));
}

ClientInternal::State clientState(IClient* client) { return ClientInternal::of(client).state; }

bool clientIsCreated(IClient* client) { return clientState(client) == ClientInternal::created; }

bool clientIsLogined(IClient* client) { return clientState(client) == ClientInternal::loggedIn; }

bool clientIsBroken(IClient* client) { return clientState(client) == ClientInternal::broken; }

bool clientIsIdle(IClient* client) {
    const std::uint64_t now = CTime::getCurrentMilliSecond();
    ClientInternal& record = ClientInternal::of(client);
    if (record.state != ClientInternal::created || record.explicitClient) return false;
    return now - record.lastCheckTime > s_idleMilliSeconds;
}

bool clientIsSameAs(IClient* client, const ClassID& clsid, const ServerInfo& info) {
    ClientInternal& record = ClientInternal::of(client);
    return classFits(record, clsid) && record.isForServer(info);
}

bool clientIsSameAs(IClient* client, const ClassID& clsid, int userId) {
    const ClientInternal& record = ClientInternal::of(client);
    int id = -1;
    client->getUserID(id);
    return classFits(record, clsid) && id == userId;
}

long clientGetAndMarkUsing(IClient* client) {
    return ClientInternal::of(client).isUsing.exchange(1, std::memory_order_acq_rel);
}

bool clientLogin(IClient* client) {
    ClientInternal& record = ClientInternal::of(client);
    record.lastCheckTime = CTime::getCurrentMilliSecond();
    if (!client->login()) return false;
    {
        CGuard guard(record.mutex);
        record.loginTime = CTime::getCurrentTime();
    }
    record.state = ClientInternal::loggedIn;
    return true;
}

bool clientUpdateBroken(IClient* client) {
    ClientInternal& record = ClientInternal::of(client);
    record.lastCheckTime = CTime::getCurrentMilliSecond();
    if (!client->checkBroken()) return false;
    record.state = ClientInternal::broken;
    return true;
}

}  // namespace Tovra::Component
