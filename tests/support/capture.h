#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "vesko/vesko3/log.h"

namespace Tovra::Testing {

/// What `action` writes to standard output while records up to `level` pass.
template <class Action>
std::string records(int level, Action&& action) {
    const int before = Vesko::getPrintLogLevel();
    Vesko::setPrintLogLevel(level);
    testing::internal::CaptureStdout();
    std::forward<Action>(action)();
    std::string text = testing::internal::GetCapturedStdout();
    Vesko::setPrintLogLevel(before);
    return text;
}

/// As `records`, with the messages alone: the headers are turned off meanwhile.
template <class Action>
std::string printed(int level, Action&& action) {
    Vesko::PrintOptions before{};
    Vesko::getPrintOptions(&before);
    Vesko::PrintOptions bare{};
    bare.noTime = bare.noModule = bare.noLevel = bare.noThread = bare.noVersion = 1;
    bare.noFunction = bare.noFile = bare.noLine = 1;
    Vesko::setPrintOptions(bare);
    std::string text = records(level, std::forward<Action>(action));
    Vesko::setPrintOptions(before);
    return text;
}

}  // namespace Tovra::Testing
