#pragma once

#include "Profile.h"

#include <memory>
#include <utility>

#include <lcms2.h>

namespace tint {

/// A transform of Little CMS: never changed once it is made, so that any number of handles and threads may use one.
class Engine {
public:
    struct Delete {
        void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
    };
    using Transform = std::unique_ptr<void, Delete>;

    /// @p transform is not null.
    explicit Engine(Transform transform)
        : m_transform(std::move(transform))
        , m_number(nextNumber())
    {
    }

    void convert(const void *input, void *output, unsigned int count) const
    {
        cmsDoTransform(m_transform.get(), input, output, count);
    }

    /// A number that no other engine of this process has, or 0 when the numbers have run out.
    quint32 number() const { return m_number; }

private:
    static quint32 nextNumber();

    Transform m_transform;
    quint32 m_number;
};

/// The engine that converts from @p source to @p target in this way; null when Little CMS cannot, which is not
/// reported.
///
/// Making one may take tens of milliseconds, and every walk over an image begins with a copy of its transform. So while
/// an engine is in use, whoever asks for the same conversion gets that one. May be called from any thread.
std::shared_ptr<const Engine> engineFor(const Profile &source, unsigned int inputFormat, const Profile &target,
    unsigned int outputFormat, unsigned int intent, unsigned int flags);

} // namespace tint
