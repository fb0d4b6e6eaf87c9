#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QString>

#include <exception>
#include <new>
#include <utility>

/// The debug log and the guard. The path in a log line is given by the caller ("src/KXComposer"), so that the lines are
/// the same wherever the sources are built.
namespace support {

/// Where a message comes from: the source's name as the log prints it, and a line.
struct Origin {
    const char *path;
    int line;
};

/// Writes a line to the debug log, or nothing where there is no memory for the line.
template <class... Arguments>
void log(const char *format, Arguments... arguments)
{
    try {
        QMessageLogger().debug(format, arguments...);
    } catch (const std::bad_alloc &) {
    }
}

/// Writes "[path:line] text" to the debug log.
inline void logLine(Origin origin, const char *text) { log("[%s:%d] %s", origin.path, origin.line, text); }

inline void logLine(Origin origin, const QString &text) { logLine(origin, text.toLatin1().constData()); }

/// What a guard does with a std::exception once it is logged. Anything else that is thrown always goes on.
enum class OnException { Rethrow, Swallow };

/// Runs @p body. What it throws is logged: a std::exception with its text, anything else as unknown.
/// Returns true unless an exception was swallowed.
template <class Body>
bool guarded(Origin origin, Body &&body, OnException policy = OnException::Rethrow)
{
    try {
        std::forward<Body>(body)();
        return true;
    } catch (const std::exception &e) {
        log("[%s:%d] Unexpected exception %s", origin.path, origin.line, e.what());
        if (policy == OnException::Rethrow)
            throw;
        return false;
    } catch (...) {
        log("[%s:%d] Unexpected unknown exception", origin.path, origin.line);
        throw;
    }
}

} // namespace support
