#pragma once

#include "Document.h"
#include "Sheet.h"

#include <QtCore/QString>

namespace tour {

class OutputFolder;

/// What the report says about the run as a whole.
struct Summary {
    QString photo; ///< its name, for people
    QSize size;
    bool module; ///< whether the kernel module is in use
};

/// Writes the pictures as PNG files and one page, index.html, that carries its pictures within itself. Throws Failure.
void writeReport(OutputFolder &folder, const Summary &summary, const QVector<Step> &steps, const QImage &result,
    const QVector<Sheet> &sheets);

} // namespace tour
