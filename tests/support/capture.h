#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "vesko/vesko3/log.h"

namespace Tovra::Testing {

/// What `action` writes to standard output while records up to `level` pass.
template <class Action>
std::string printed(int level, Action&& action) {
    const int before = Vesko::getPrintLogLevel();
    Vesko::setPrintLogLevel(level);
    testing::internal::CaptureStdout();
    std::forward<Action>(action)();
    std::string text = testing::internal::GetCapturedStdout();
    Vesko::setPrintLogLevel(before);
    return text;
}

}  // namespace Tovra::Testing
