#include "KXCMSProfile.h"

#include "support/Log.h"
#include "tintClass.h"

#include <QtCore/QFile>

#include <climits>
#include <vector>

namespace {

constexpr char sourcePath[] = "src/KXCMSProfile";

/// Owner of a native profile; empty with a null handle.
class Holder {
public:
    Holder() = default;
    ~Holder() { Reset(nullptr); }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    void *Handle() const { return m_handle; }

    void Reset(void *handle)
    {
        if (m_handle)
            tintClass::closeProfile(m_handle);
        m_handle = handle;
    }

private:
    void *m_handle = nullptr;
};

} // namespace

class KXCMSProfile::Private {
public:
    std::shared_ptr<Holder> holder = std::make_shared<Holder>();
};

KXCMSProfile::KXCMSProfile() noexcept = default;

KXCMSProfile::KXCMSProfile(const KXCMSProfile &other)
    : d(other.d ? new Private(*other.d) : nullptr)
{
}

KXCMSProfile::KXCMSProfile(KXCMSProfile &&other) noexcept = default;

KXCMSProfile::~KXCMSProfile() = default;

KXCMSProfile &KXCMSProfile::operator=(const KXCMSProfile &other)
{
    if (this != &other)
        *this = KXCMSProfile(other);
    return *this;
}

KXCMSProfile &KXCMSProfile::operator=(KXCMSProfile &&other) noexcept = default;

bool KXCMSProfile::operator==(const KXCMSProfile &other) const
{
    return Handle() == other.Handle() || GetInfo() == other.GetInfo();
}

bool KXCMSProfile::operator!=(const KXCMSProfile &other) const { return !(*this == other); }

bool KXCMSProfile::Load(const QString &path)
{
    QFile file(path);
    if (!file.exists() || !file.open(QIODevice::ReadOnly) || file.size() > INT_MAX)
        return false;
    const QByteArray data = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return false;
    if (!data.isEmpty())
        return Load(data.constData(), data.size());
    if (!d)
        d.reset(new Private);
    d->holder->Reset(nullptr);
    return true;
}

bool KXCMSProfile::Load(const char *data, int size)
{
    if (size < 0)
        return false;
    if (size == 0) {
        d.reset();
        return true;
    }
    std::unique_ptr<Private> first(d ? nullptr : new Private);
    void *const handle = tintClass::openProfileFromMem(data, static_cast<unsigned int>(size));
    if (!handle)
        return false;
    if (first)
        d = std::move(first);
    d->holder->Reset(handle);
    return true;
}

void KXCMSProfile::FromByteArray(const QByteArray &data) { Load(data); }

int KXCMSProfile::Save(char *buffer, int size) const
{
    if (IsEmpty())
        return 0;
    const int needed = GetMemSize();
    if (needed < 0 || size < needed || !buffer)
        return -1;
    auto written = static_cast<unsigned int>(size);
    return tintClass::saveProfileToMem(Handle(), buffer, &written) ? static_cast<int>(written) : -1;
}

bool KXCMSProfile::Save(const QString &path) const
{
    if (IsEmpty())
        return false;
    const QByteArray data = ToByteArray();
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size() && file.flush();
}

QByteArray KXCMSProfile::ToByteArray() const
{
    const int size = GetMemSize();
    if (size <= 0)
        return {};
    QByteArray data(size, 0);
    Save(data.data(), size);
    return data;
}

int KXCMSProfile::GetMemSize() const
{
    if (IsEmpty())
        return 0;
    unsigned int size = 0;
    return tintClass::saveProfileToMem(Handle(), nullptr, &size) ? static_cast<int>(size) : -1;
}

bool KXCMSProfile::IsEmpty() const { return !Handle(); }

KXCMSProfile::ColorSpace KXCMSProfile::GetColorSpace() const
{
    return IsEmpty() ? NoColorSpace : ColorSpace(tintClass::getColorSpace(Handle()));
}

QString KXCMSProfile::GetInfo() const
{
    if (IsEmpty())
        return {};
    if (const unsigned int size = tintClass::getProfileInfo(Handle(), nullptr, 0)) {
        std::vector<char> text(size);
        if (tintClass::getProfileInfo(Handle(), text.data(), size))
            return QString::fromUtf8(text.data());
    }
    support::logLine({ sourcePath, __LINE__ }, "Read profile info error.");
    return {};
}

void *KXCMSProfile::Handle() const { return d ? d->holder->Handle() : nullptr; }
