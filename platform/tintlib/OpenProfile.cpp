#include "OpenProfile.h"

#include <algorithm>
#include <cstring>

namespace tint {

OpenProfile::OpenProfile(EngineCall &call, cmsContext context, const QByteArray &bytes)
    : m_call(call)
    , m_data(bytes.constData())
    , m_size(cmsUInt32Number(bytes.size()))
    , m_allowance(4 * quint64(m_size) + 65536)
{
    m_io.stream = this;
    m_io.ContextID = context;
    m_io.ReportedSize = m_size;
    m_io.Read = read;
    m_io.Seek = seek;
    m_io.Tell = [](cmsIOHANDLER *io) { return static_cast<OpenProfile *>(io->stream)->m_position; };
    m_io.Close = [](cmsIOHANDLER *) -> cmsBool { return TRUE; };
    m_io.Write = [](cmsIOHANDLER *, cmsUInt32Number, const void *) -> cmsBool { return FALSE; };
    call.Do([=] { m_handle = cmsOpenProfileFromIOhandlerTHR(context, &m_io); });
}

OpenProfile::~OpenProfile()
{
    if (m_handle && !m_call.IsAbandoned())
        cmsCloseProfile(m_handle);
}

cmsUInt32Number OpenProfile::read(cmsIOHANDLER *io, void *buffer, cmsUInt32Number size, cmsUInt32Number count)
{
    auto *const p = static_cast<OpenProfile *>(io->stream);
    const quint64 bytes = quint64(size) * count;
    if (bytes > p->m_size - p->m_position || bytes > p->m_allowance) {
        cmsSignalError(io->ContextID, cmsERROR_READ, "Profile data ends early; %u bytes wanted at %u.",
            unsigned(std::min<quint64>(bytes, 0xffffffffU)), p->m_position);
        return 0;
    }
    std::memcpy(buffer, p->m_data + p->m_position, bytes);
    p->m_position += cmsUInt32Number(bytes);
    p->m_allowance -= bytes;
    return count;
}

cmsBool OpenProfile::seek(cmsIOHANDLER *io, cmsUInt32Number offset)
{
    auto *const p = static_cast<OpenProfile *>(io->stream);
    if (offset > p->m_size) {
        cmsSignalError(io->ContextID, cmsERROR_SEEK, "Profile data ends before position %u.", offset);
        return FALSE;
    }
    p->m_position = offset;
    return TRUE;
}

} // namespace tint
