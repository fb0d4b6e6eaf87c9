#include "Fuzz.h"

#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include <QtCore/QDataStream>

#include <cstdlib>

namespace {

/// The first byte says how the stream is set up; the rest is read.
void setUp(QDataStream &stream, uint8_t flags)
{
    stream.setByteOrder(flags & 1 ? QDataStream::LittleEndian : QDataStream::BigEndian);
    stream.setFloatingPointPrecision(flags & 2 ? QDataStream::SinglePrecision : QDataStream::DoublePrecision);
    stream.setVersion(flags & 4 ? QDataStream::Qt_4_5 : QDataStream::Qt_5_15);
}

/// A NaN may change its bits on the way through single precision.
bool isNumber(const OPGaussianBlurProcessing::Params &params) { return params.sigma == params.sigma; }
bool isNumber(const OPBoxBlurProcessing::Params &) { return true; }

/// What was read is written as the bytes that it was read from.
template <class Params>
void check(uint8_t flags, const QByteArray &bytes)
{
    Params params;
    QDataStream in(bytes);
    setUp(in, flags);
    if (!params.Read(in)) {
        QDataStream again(bytes);
        setUp(again, flags);
        again >> params;
        return;
    }
    QByteArray written;
    QDataStream out(&written, QIODevice::WriteOnly);
    setUp(out, flags);
    if (!params.Write(out) || written.size() != in.device()->pos())
        std::abort();
    if (isNumber(params) && !bytes.startsWith(written))
        std::abort();
}

template <class Params>
QByteArray seed(uint8_t flags)
{
    QByteArray bytes(1, char(flags));
    QDataStream stream(&bytes, QIODevice::WriteOnly | QIODevice::Append);
    setUp(stream, flags);
    stream << Params();
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), int(size - 1));
    check<OPGaussianBlurProcessing::Params>(data[0], bytes);
    check<OPBoxBlurProcessing::Params>(data[0], bytes);
    return 0;
}

QByteArrayList FuzzSeeds()
{
    QByteArrayList seeds;
    for (const uint8_t flags : { 0, 1, 2, 4 })
        seeds << seed<OPGaussianBlurProcessing::Params>(flags) << seed<OPBoxBlurProcessing::Params>(flags);
    return seeds;
}
