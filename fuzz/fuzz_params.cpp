#include "Fuzz.h"

#include "catalogue/Operation.h"

#include <QtCore/QDataStream>

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

/// The first byte says how the stream is set up; the rest is read.
void setUp(QDataStream &stream, uint8_t flags)
{
    stream.setByteOrder(flags & 1 ? QDataStream::LittleEndian : QDataStream::BigEndian);
    stream.setFloatingPointPrecision(flags & 2 ? QDataStream::SinglePrecision : QDataStream::DoublePrecision);
    stream.setVersion(flags & 4 ? QDataStream::Qt_4_5 : QDataStream::Qt_5_15);
}

/// The parameters of all operations that have a stream.
std::vector<std::unique_ptr<catalogue::ParamsValue>> everyParams()
{
    std::vector<std::unique_ptr<catalogue::ParamsValue>> list;
    for (const catalogue::Operation &operation : catalogue::operations())
        if (!operation.signature.empty())
            for (const catalogue::Variant &variant : operation.variants)
                list.push_back(variant.params());
    return list;
}

QByteArray written(const catalogue::ParamsValue &params, uint8_t flags)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    setUp(stream, flags);
    if (!params.Write(stream))
        std::abort();
    return bytes;
}

bool read(catalogue::ParamsValue &params, uint8_t flags, const QByteArray &bytes)
{
    QDataStream stream(bytes);
    setUp(stream, flags);
    return params.Read(stream);
}

/// What was read and written is read and written as the same bytes. They may differ from those that it was first read
/// from: a NaN may change its bits on the way through single precision.
void check(catalogue::ParamsValue &params, uint8_t flags, const QByteArray &bytes)
{
    if (!read(params, flags, bytes)) {
        QDataStream stream(bytes);
        setUp(stream, flags);
        params.StreamIn(stream);
        return;
    }
    const QByteArray once = written(params, flags);
    if (!read(params, flags, once) || written(params, flags) != once)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), int(size - 1));
    for (const auto &params : everyParams())
        check(*params, data[0], bytes);
    return 0;
}

QByteArrayList FuzzSeeds()
{
    QByteArrayList seeds;
    for (const uint8_t flags : { 0, 1, 2, 4 })
        for (const auto &params : everyParams())
            seeds << char(flags) + written(*params, flags);
    return seeds;
}
