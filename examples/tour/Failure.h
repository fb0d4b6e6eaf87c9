#pragma once

#include <QtCore/QString>

#include <stdexcept>

namespace tour {

/// What ends the tour: one line that names the file or the folder at fault.
class Failure : public std::runtime_error {
public:
    explicit Failure(const QString &line)
        : std::runtime_error(line.simplified().toLocal8Bit().constData())
    {
    }
};

/// The user has stopped the tour.
struct Stopped { };

} // namespace tour
