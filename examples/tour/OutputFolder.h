#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace tour {

/// The folder of the results. Files are written to a hidden folder first and moved to their place all at once, so that
/// a tour which fails, or is stopped, leaves nothing behind.
class OutputFolder {
public:
    /// Makes what is needed to write; throws Failure if that cannot be done.
    explicit OutputFolder(const QString &path);
    ~OutputFolder();
    OutputFolder(const OutputFolder &) = delete;
    OutputFolder &operator=(const OutputFolder &) = delete;

    /// Where to write the file @p name before it is published.
    QString fileFor(const QString &name) const { return m_hidden + '/' + name; }

    /// Moves everything written into the folder, over files of the same names, and returns the names. Throws Failure.
    QStringList publish();

    QString path() const { return m_path; }

private:
    QString m_path;
    QString m_hidden;
    QString m_firstMade; ///< the topmost folder that had to be made for m_hidden
    bool m_published = false;
};

} // namespace tour
