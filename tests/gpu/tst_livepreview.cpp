#include "LivePreview.h"

#include "kit/Images.h"

using kit::Picture;

/// The page docs/behaviour/gpu.md: that its preview shows the last change, whether or not there is OpenGL.
class TestLivePreview : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void showsLastChange()
    {
        const Picture picture = Picture::random(120, 80, 1);
        enum Way { NoService, Service, Destroyed, Closed };
        for (const Way way : { NoService, Service, Destroyed, Closed }) {
            if (way != NoService)
                KXGpuService::make_instance();
            QList<RGBA32iImage> shown;
            const QPointer<LivePreview> preview =
                new LivePreview(picture.image(false), [&](const RGBA32iImage &image) { shown << image; });
            SelectiveParamsList list;
            Picture expected = picture;
            for (int cyan = 5; cyan <= 95; cyan += 10) {
                list.m_Params[SelectiveParamsList::Neutrals].cyan = float(cyan);
                preview->change(list);
            }
            for (OPRGBA32i &pixel : expected.pixels)
                KXSelectiveColorsTransformation { list }(pixel);
            if (way == Closed) {
                preview->close();
                QVERIFY(preview); // whose pixels are being read
                QTRY_VERIFY_WITH_TIMEOUT(!preview, 60000);
                QVERIFY(shown.isEmpty());
                KXGpuService::destroy();
                continue;
            }
            if (way == Destroyed)
                KXGpuService::destroy();
            QTRY_VERIFY_WITH_TIMEOUT(!shown.isEmpty() && Picture::of(shown.last()).pixels == expected.pixels, 60000);
            if (way == Service && KXGpuService::get_instance())
                QCOMPARE(shown.size(), 2); // the first change, and the last of those that came meanwhile
            COMPARE_PICTURE(Picture::of(preview->accepted()), expected);
            preview->close();
            QVERIFY(!preview);
            KXGpuService::destroy();
        }
    }
};

KXCORE_TEST_MAIN(TestLivePreview)
#include "tst_livepreview.moc"
