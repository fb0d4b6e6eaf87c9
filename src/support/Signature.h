#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>

#include <cstring>

/// The ASCII bytes with which a stream of parameters begins: they alone, with no length and no terminator.
namespace support {

/// False when the stream did not take all of them.
inline bool writeSignature(QDataStream &stream, const char *signature)
{
    const int length = int(std::strlen(signature));
    return stream.writeRawData(signature, length) == length;
}

/// As many of the next bytes as @p signature has; none if there are fewer, which are read all the same.
inline QByteArray readAsLongAs(QDataStream &stream, const char *signature)
{
    QByteArray found(int(std::strlen(signature)), '\0');
    return stream.readRawData(found.data(), found.size()) == found.size() ? found : QByteArray();
}

/// False when the next bytes are others, or too few; they are read all the same.
inline bool readSignature(QDataStream &stream, const char *signature)
{
    return readAsLongAs(stream, signature) == signature;
}

} // namespace support
