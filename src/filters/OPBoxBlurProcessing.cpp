#include "OPBoxBlurProcessing.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

constexpr char signature[] = "KXBoxBlur 1.00000";
constexpr char source[] = "src\\filters\\OPBoxBlurProcessing";

/// Rows, then columns, with one window.
class BoxPasses {
public:
    BoxPasses(const OPRGBABlurAccumulatorPremul &window, RGBA32iImage &image, const QRect &rect)
        : m_rows(window, image, rect)
        , m_columns(window, image, rect)
    {
    }

    int LineCount() const { return m_rows.LineCount() + m_columns.LineCount(); }

    void Run(const std::atomic<bool> &cancel, const lines::Progress &progress) const
    {
        m_rows.Run(cancel, progress);
        m_columns.Run(cancel, progress);
    }

private:
    lines::LineHandler<OPRGBABlurAccumulatorPremul, lines::HorizontalDirection> m_rows;
    lines::LineHandler<OPRGBABlurAccumulatorPremul, lines::VerticalDirection> m_columns;
};

} // namespace

bool OPBoxBlurProcessing::Params::Write(QDataStream &stream) const
{
    return filters::writeParams(stream, signature, radius);
}

bool OPBoxBlurProcessing::Params::Read(QDataStream &stream) { return filters::readParams(stream, signature, radius); }

QDataStream &operator<<(QDataStream &stream, const OPBoxBlurProcessing::Params &params)
{
    return filters::writeOrLog(stream, params, { source, 182 }, "Write box blur data error.");
}

QDataStream &operator>>(QDataStream &stream, OPBoxBlurProcessing::Params &params)
{
    return filters::readOrLog(stream, params, { source, 196 }, "Read box blur data error.");
}

OPBoxBlurProcessing::OPBoxBlurProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPBoxBlurProcessing::~OPBoxBlurProcessing() = default;

RGBA32iImage OPBoxBlurProcessing::run(BlurData data)
{
    const OPRGBABlurAccumulatorPremul window(data.params.radius);
    // A window reads real neighbours by itself: no margin.
    return filters::runPasses(
        data, 0, [&window](RGBA32iImage &image, const QRect &rect) { return BoxPasses(window, image, rect); },
        [this](int lines) { SetRange(unsigned(lines)); }, m_cancel, [this] { IncrementProgress(); });
}

OPBoxBlurProcessing::ResultEx OPBoxBlurProcessing::runEx(BlurDataEx data)
{
    const int reach = OPRGBABlurAccumulatorPremul(data.params.radius).GetRadius();
    const QPoint origin = filters::growCanvas(data, data.region, data.origin, reach);
    return { run(std::move(data)), origin };
}
