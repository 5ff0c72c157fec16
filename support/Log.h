#pragma once

#include <QLoggingCategory>

namespace ky {

/// Starts a log line with `[level][function]`. The pieces streamed behind it are parted by one
/// blank each, texts without quotes.
QDebug logLine(QDebug stream, const char* level, const char* function);

} // namespace ky

// One line costs one test while its level is off: nothing behind `<<` is evaluated then.
// __func__ in a lambda is `operator()`, so log outside it.
#define KY_LOG_AS(category, isEnabled, method, level, function)                                    \
    for (bool kyLogOn = category().isEnabled(); kyLogOn; kyLogOn = false)                          \
    ky::logLine(QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC,         \
                               category().categoryName())                                          \
                    .method(),                                                                     \
                level, function)

#define KY_LOG(category, isEnabled, method, level)                                                 \
    KY_LOG_AS(category, isEnabled, method, level, __func__)

#define KY_LOG_DEBUG(category) KY_LOG(category, isDebugEnabled, debug, "debug")
#define KY_LOG_INFO(category) KY_LOG(category, isInfoEnabled, info, "info")
#define KY_LOG_WARNING(category) KY_LOG(category, isWarningEnabled, warning, "warning")

// For a helper that writes the line of the function it was taken out of: `function` is that name.
#define KY_LOG_DEBUG_AS(category, function)                                                        \
    KY_LOG_AS(category, isDebugEnabled, debug, "debug", function)
#define KY_LOG_INFO_AS(category, function)                                                         \
    KY_LOG_AS(category, isInfoEnabled, info, "info", function)
#define KY_LOG_WARNING_AS(category, function)                                                      \
    KY_LOG_AS(category, isWarningEnabled, warning, "warning", function)
