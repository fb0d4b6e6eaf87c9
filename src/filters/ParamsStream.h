#pragma once

#include "support/Log.h"

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>

#include <cstring>

/// The form of every parameter stream: a signature, its ASCII bytes alone, then the fields with the stream's own
/// operators, in whatever version, byte order and precision the caller has set.
namespace filters {

/// False when the signature cannot be written, with no field written, or when the stream is not in order afterwards.
template <class... Field>
bool writeParams(QDataStream &stream, const char *signature, const Field &...fields)
{
    const int length = int(std::strlen(signature));
    if (stream.writeRawData(signature, length) != length)
        return false;
    (stream << ... << fields);
    return stream.status() == QDataStream::Ok;
}

/// False when the signature is another or is cut off, with nothing stored, or when the stream is not in order
/// afterwards; then the fields hold what was read.
template <class... Field>
bool readParams(QDataStream &stream, const char *signature, Field &...fields)
{
    QByteArray found(int(std::strlen(signature)), '\0');
    if (stream.readRawData(found.data(), found.size()) != found.size() || found != signature)
        return false;
    (stream >> ... >> fields);
    return stream.status() == QDataStream::Ok;
}

/// What the stream operators do: a failure is logged, and the stream's status is left alone.
template <class Params>
QDataStream &writeOrLog(QDataStream &stream, const Params &params, support::Origin origin, const char *message)
{
    if (!params.Write(stream))
        support::logLine(origin, message);
    return stream;
}

/// After a failure @p params holds the defaults.
template <class Params>
QDataStream &readOrLog(QDataStream &stream, Params &params, support::Origin origin, const char *message)
{
    if (!params.Read(stream)) {
        support::logLine(origin, message);
        params = Params();
    }
    return stream;
}

} // namespace filters
