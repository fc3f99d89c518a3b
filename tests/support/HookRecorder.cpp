// The hooks are plain functions. They store what they are told in variables of this file, under one lock.
#include "HookRecorder.h"

#include <mutex>

namespace {

// The hooks may be called from any thread.
std::mutex mutex;
HookRecorder* current;
std::vector<std::string> printedTexts;
std::vector<short> printedFlags;
std::vector<HookRecorder::ErrorReport> reports;
int checkCount;

void print(short flag, const char* text)
{
    std::lock_guard lock(mutex);
    printedTexts.emplace_back(text);
    printedFlags.push_back(flag);
}

bool check(short flag)
{
    {
        std::lock_guard lock(mutex);
        ++checkCount;
    }
    return current->check(flag);
}

short registerFlag(const char*, const char*, const char* name, const char*)
{
    const std::string text = name;
    return text == "KIV" ? HookRecorder::kivFlag : text == "NFR" ? HookRecorder::nfrFlag : HookRecorder::sslFlag;
}

std::optional<std::string> optionalText(const char* text)
{
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

void error(KivError::ErrPrio priority, KivError::ErrType type, KivError::KivErrorCode code, const char* text1,
           const char* text2, const char* text3)
{
    std::lock_guard lock(mutex);
    reports.push_back({priority, type, code, optionalText(text1), optionalText(text2), optionalText(text3)});
}

} // namespace

HookRecorder::HookRecorder()
    : previousPrint(KivDebug::pKivDebugPrint), previousCheck(KivDebug::pKivDebugCheck),
      previousRegister(KivDebug::pRegisterDbgFlag),
      previousError(KivDebug::pKivErrorPrint), previousFlags{KivDebug::DBG_KIV, KivDebug::DBG_NFR, KivDebug::DBG_SSL}
{
    current = this;
    clear();
    KivDebug::initKivDebugPrint(print, ::check, registerFlag);
    KivDebug::initKivErrorPrint(error);
}

HookRecorder::~HookRecorder()
{
    KivDebug::pKivDebugPrint = previousPrint;
    KivDebug::pKivDebugCheck = previousCheck;
    KivDebug::pRegisterDbgFlag = previousRegister;
    KivDebug::pKivErrorPrint = previousError;
    KivDebug::DBG_KIV = previousFlags[0];
    KivDebug::DBG_NFR = previousFlags[1];
    KivDebug::DBG_SSL = previousFlags[2];
}

std::vector<std::string> HookRecorder::texts() const
{
    std::lock_guard lock(mutex);
    return printedTexts;
}

std::vector<short> HookRecorder::flags() const
{
    std::lock_guard lock(mutex);
    return printedFlags;
}

std::vector<HookRecorder::ErrorReport> HookRecorder::errorReports() const
{
    std::lock_guard lock(mutex);
    return reports;
}

int HookRecorder::checks() const
{
    std::lock_guard lock(mutex);
    return checkCount;
}

void HookRecorder::clear()
{
    std::lock_guard lock(mutex);
    printedTexts.clear();
    printedFlags.clear();
    reports.clear();
    checkCount = 0;
}
