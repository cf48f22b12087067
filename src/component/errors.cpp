#include "component/errors.h"

#include "vesko/vesko3/error.h"

namespace Tovra::Component {

namespace {

struct ErrorText {
    int code;
    const char* text;
};

constexpr ErrorText s_errorTexts[] = {
    {interfaceNotFound, "Component error: interface not found!"},
    {classNotFound, "Component error: class not found!"},
    {clientNotFound, "Component error: client not found!"},
    {clientNotExist, "Component error: client not exist!"},
    {0x10030004, "Component error: not login yet!"},
    {0x10030005, "Component error: tring login!"},
    {0x10030006, "Component error: user's name not valid!"},
    {0x10030007, "Component error: password not valid!"},
    {0x10030008, "Component error: peer has been blocked!"},
    {0x10030009, "Component error: peer in blacklist!"},
    {0x1003000A, "Component error: user's name has been used!"},
    {0x1003000B, "Component error: too many connections!"},
    {0x1003000C, "Component error: no authority!"},
    {creatingFailed, "Component error: creating object failed!"},
    {gettingFailed, "Component error: getting instance failed!"},
    {0x1003000F, "Component error: login challenge!"},
    {0x10030015, "Component error: User or password not valid!"},
};

}  // namespace

void installErrorTexts() {
    static const bool s_installed = [] {
        for (const ErrorText& row : s_errorTexts) Vesko::setErrMsg(row.code, row.text);
        return true;
    }();
    static_cast<void>(s_installed);
}

}  // namespace Tovra::Component
