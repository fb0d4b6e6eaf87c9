#include "SelectiveParams.h"

#include "support/Signature.h"

namespace {

constexpr char signature[] = "KXSelectiveColorsFilter 1.00000";

} // namespace

SelectiveParamsList::SelectiveParamsList()
{
    m_Params.reserve(m_Count);
    for (int i = 0; i < m_Count; ++i)
        m_Params.append(SelectiveParams());
}

bool SelectiveParamsList::Write(QDataStream &stream) const
{
    if (!support::writeSignature(stream, signature))
        return false;
    for (const SelectiveParams &params : m_Params)
        stream << params.cyan << params.magenta << params.yellow << params.black;
    stream << m_Mode;
    return stream.status() == QDataStream::Ok;
}

bool SelectiveParamsList::Read(QDataStream &stream)
{
    if (!support::readSignature(stream, signature))
        return false;
    for (int i = 0; i < m_Count; ++i) {
        if (i == m_Params.size()) // it was moved from
            m_Params.append(SelectiveParams());
        SelectiveParams &params = m_Params[i];
        stream >> params.cyan >> params.magenta >> params.yellow >> params.black; // which stores 0 once it fails
    }
    stream >> m_Mode;
    return stream.status() == QDataStream::Ok;
}
