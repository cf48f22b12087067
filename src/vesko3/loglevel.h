#pragma once

namespace Tovra::Vesko::Detail {

/// The levels of log records.
enum LogLevel { fatalLevel = 1, errorLevel, warnLevel, infoLevel, traceLevel, debugLevel };

}  // namespace Tovra::Vesko::Detail
