#pragma once

#include "Context.h"

#include <QtCore/QByteArray>

#include <lcms2.h>
#include <lcms2_plugin.h>

namespace tint {

/// A profile as Little CMS sees it, read from bytes that must outlive it.
///
/// Tags may overlap, and may refer to one piece of data over and over, so that a few bytes can ask for any amount of
/// work. Hence the allowance: an honest profile is read about once, and reading fails once some four times its size has
/// been read.
class OpenProfile {
public:
    /// Within @p call, which must outlive the object.
    OpenProfile(EngineCall &call, cmsContext context, const QByteArray &bytes);
    ~OpenProfile();
    OpenProfile(const OpenProfile &) = delete;
    OpenProfile &operator=(const OpenProfile &) = delete;

    /// Null when Little CMS refused the header or the tag directory.
    cmsHPROFILE handle() const { return m_handle; }

private:
    static cmsUInt32Number read(cmsIOHANDLER *io, void *buffer, cmsUInt32Number size, cmsUInt32Number count);
    static cmsBool seek(cmsIOHANDLER *io, cmsUInt32Number offset);

    const EngineCall &m_call;
    const char *m_data;
    cmsUInt32Number m_size;
    cmsUInt32Number m_position = 0;
    quint64 m_allowance; ///< how many bytes may still be read
    cmsIOHANDLER m_io {};
    cmsHPROFILE m_handle = nullptr;
};

} // namespace tint
