#include "OutputFolder.h"

#include "Failure.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tour {

namespace {

[[noreturn]] void refuse(const QString &path) { throw Failure(QString("cannot write to the folder '%1'").arg(path)); }

} // namespace

OutputFolder::OutputFolder(const QString &path)
    : m_path(QDir::cleanPath(QDir::current().absoluteFilePath(path)))
{
    if (path.isEmpty() || (QFileInfo::exists(m_path) && !QFileInfo(m_path).isDir()))
        refuse(path);
    m_hidden = QString("%1/.kxcore_tour-%2").arg(m_path).arg(QCoreApplication::applicationPid());
    m_firstMade = m_hidden;
    for (QString parent = m_path; !QFileInfo::exists(parent); parent = QFileInfo(parent).path())
        m_firstMade = parent;
    if (!QDir().mkpath(m_hidden)) {
        // A folder may have been made on the way to the one that could not be.
        if (m_firstMade != m_hidden)
            QDir(m_firstMade).removeRecursively();
        refuse(path);
    }
}

OutputFolder::~OutputFolder() { QDir(m_published ? m_hidden : m_firstMade).removeRecursively(); }

QStringList OutputFolder::publish()
{
    const QStringList names = QDir(m_hidden).entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) // the one obstacle that could stand in the way of some files and not of others
        if (QFileInfo(m_path + '/' + name).isDir())
            throw Failure(QString("cannot write '%1/%2': it is a folder").arg(m_path, name));
    for (const QString &name : names) {
        const QString to = m_path + '/' + name;
        if (std::rename(fileFor(name).toLocal8Bit().constData(), to.toLocal8Bit().constData()) != 0)
            throw Failure(QString("cannot write '%1': %2").arg(to, QString::fromLocal8Bit(std::strerror(errno))));
        m_published = true;
    }
    return names;
}

} // namespace tour
