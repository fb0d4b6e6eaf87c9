#pragma once

#include "support/Log.h"
#include "support/Signature.h"

#include <string>
#include <tuple>
#include <type_traits>

namespace filters {

/// What messages about a parameter stream name as their origin: a source, and two of its lines. Applications know the
/// messages by them, so they stay what they are wherever the code moves.
struct StreamSource {
    const char *path;
    int readLine, writeLine;
};

/// The declaration of a parameter stream, as OPAdjustmentProcessing.h describes them: a signature, then the fields with
/// the stream's own operators; of the int that stands for a bool 0 alone is false. @c KX_FILTER_STREAM makes of it what
/// the filter's header declares.
template <class Params, class... Field>
class ParamsStream {
public:
    /// @p name is what messages call the filter: "Read box blur data error."
    constexpr ParamsStream(
        const char *signature, const char *name, const StreamSource &source, Field Params::*...fields)
        : m_signature(signature)
        , m_name(name)
        , m_source(source)
        , m_fields(fields...)
    {
    }

    /// When the signature cannot be written no field is.
    bool Write(QDataStream &stream, const Params &params) const
    {
        if (!support::writeSignature(stream, m_signature))
            return false;
        std::apply([&](auto... field) { (WriteField(stream, params.*field), ...); }, m_fields);
        return stream.status() == QDataStream::Ok;
    }

    bool Read(QDataStream &stream, Params &params) const
    {
        return IsSignature(ReadSignature(stream)) && ReadFields(stream, params);
    }

    /// The halves of it, for parameters of which there are several streams whose signatures are equally long.
    QByteArray ReadSignature(QDataStream &stream) const { return support::readAsLongAs(stream, m_signature); }
    bool IsSignature(const QByteArray &found) const { return found == m_signature; }
    bool ReadFields(QDataStream &stream, Params &params) const
    {
        std::apply([&](auto... field) { (ReadField(stream, params.*field), ...); }, m_fields);
        return stream.status() == QDataStream::Ok;
    }

    /// Whether all fields are equal.
    bool AreEqual(const Params &a, const Params &b) const
    {
        return std::apply([&](auto... field) { return ((a.*field == b.*field) && ...); }, m_fields);
    }

    /// What the stream operators do. @p Whole is what has Write and Read: the parameters themselves, or what derives
    /// from them.
    template <class Whole>
    QDataStream &Put(QDataStream &stream, const Whole &params) const
    {
        if (!params.Write(stream))
            Report(m_source.writeLine, "Write ");
        return stream;
    }

    template <class Whole>
    QDataStream &Get(QDataStream &stream, Whole &params) const
    {
        if (!params.Read(stream)) {
            Report(m_source.readLine, "Read ");
            params = Whole();
        }
        return stream;
    }

private:
    template <class Value>
    static void WriteField(QDataStream &stream, const Value &value)
    {
        if constexpr (std::is_same_v<Value, bool>)
            stream << qint32(value);
        else
            stream << value;
    }

    template <class Value>
    static void ReadField(QDataStream &stream, Value &value)
    {
        if constexpr (std::is_same_v<Value, bool>) {
            qint32 number = 0;
            stream >> number;
            value = number != 0;
        } else {
            stream >> value;
        }
    }

    void Report(int line, const char *what) const
    {
        support::logLine({ m_source.path, line }, (std::string(what) + m_name + " data error.").c_str());
    }

    const char *m_signature;
    const char *m_name;
    StreamSource m_source;
    std::tuple<Field Params::*...> m_fields;
};

} // namespace filters

/// Defines Write and Read of the parameters of @p Filter, and both stream operators, from the declaration @p stream.
#define KX_FILTER_STREAM(Filter, stream)                                                                               \
    KX_FILTER_STREAM_BUT_READ(Filter, stream)                                                                          \
    bool Filter::Params::Read(QDataStream &from) { return stream.Read(from, *this); }

/// The same without Read.
#define KX_FILTER_STREAM_BUT_READ(Filter, stream)                                                                      \
    bool Filter::Params::Write(QDataStream &to) const { return stream.Write(to, *this); }                              \
    QDataStream &operator<<(QDataStream &to, const Filter::Params &params) { return stream.Put(to, params); }          \
    QDataStream &operator>>(QDataStream &from, Filter::Params &params) { return stream.Get(from, params); }
