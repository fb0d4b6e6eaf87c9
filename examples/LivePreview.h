#pragma once

#include <KXCore.h>

#include <QtCore/QPointer>

#include <atomic>
#include <functional>
#include <utility>

/// What a dialog of selective colours shows of a layer: each change, by the GPU where there is one. GUI thread.
class LivePreview : public QObject {
public:
    using Show = std::function<void(const RGBA32iImage &)>;

    /// @p layer is flat. Made with new; @c close deletes it.
    LivePreview(const RGBA32iImage &layer, Show show)
        : m_show(std::move(show))
        , m_gpu(KXGpuService::get_instance())
    {
        layer.CopyTo(m_layer, false); // flat copies share their pixels, and nobody may write what the GPU reads
        if (!m_gpu)
            return;
        connect(m_gpu, &KXGpuService::finished, this, &LivePreview::arrived);
        connect(m_gpu, &QObject::destroyed, this, [this] { arrived({}); });
        m_gpu->begin_filter(m_layer.Width(), m_layer.Height());
    }

    /// For each move of a slider.
    void change(const SelectiveParamsList &list)
    {
        m_list = list;
        m_isChanged = true;
        if (!m_isWaiting)
            draw();
    }

    /// What the layer becomes, to the last bit, when the dialog is accepted.
    RGBA32iImage accepted() const
    {
        const std::atomic<bool> never { false };
        using Adjustment = KXSelectiveColorsTransformation;
        RGBA32iImage result;
        m_layer.CopyTo(result, false);
        OPIterativeTransformImageColors<Adjustment>(Adjustment(m_list), &result, result.Rect(), never, {})();
        return result;
    }

    /// In place of delete: the pixels have to live until the last call is done. Not from within what shows; and no
    /// other preview is made before this one is gone.
    void close()
    {
        m_show = nullptr;
        if (m_isWaiting)
            return;
        if (m_gpu)
            m_gpu->end_filter();
        delete this;
    }

private:
    void draw()
    {
        m_isChanged = false;
        if (!m_gpu)
            return m_show(accepted());
        m_isWaiting = true;
        m_gpu->process_selective_color(reinterpret_cast<uint8_t *>(m_layer.Bits()), m_layer.Width(), m_layer.Height(),
            m_list.m_Params, m_list.m_Mode, nullptr, 0, 0, 0, 0, false);
    }

    void arrived(const RGBA32iImage &result)
    {
        if (!std::exchange(m_isWaiting, false))
            return;
        if (!m_show)
            return close();
        m_show(result.Rect() == m_layer.Rect() ? result : accepted());
        if (m_isChanged)
            draw();
    }

    Show m_show; // none once it is closed
    QPointer<KXGpuService> m_gpu;
    RGBA32iImage m_layer;
    SelectiveParamsList m_list;
    bool m_isChanged = false; // since the last call
    bool m_isWaiting = false; // for a picture from the GPU
};
