#include "KXTileManager64.h"

#include "TestSupport.h"

class TestTileMemory : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void blocksAreWholeAndTheirOwn()
    {
        KXTileManager64 *const manager = KXTileManager64::Instance();
        QCOMPARE(KXTileManager64::Instance(), manager);
        auto *const a = static_cast<unsigned char *>(manager->AllocTile());
        auto *const b = static_cast<unsigned char *>(manager->AllocTile());
        std::memset(a, 1, 65536); // a sanitizer sees a block that is shorter
        std::memset(b, 2, 65536);
        QCOMPARE(int(a[0]), 1);
        QCOMPARE(int(a[65535]), 1);
        manager->Release(a);
        QCOMPARE(int(b[65535]), 2);
        manager->Release(b);
        manager->Release(nullptr);
    }

    void exceptionsTellWhatHappened()
    {
        expectText<OPTMAlreadyFree>("Tile already free.");
        expectText<OPTMBadInstance>("Tile manager instance doesn't exist.");
        expectText<OPTMInvalidBlock>("Invalid tile pointer.");
        expectText<OPTMSwapError>("Nothing to swap.");
        expectText<OPTMSwapFileError>("Can't create swap file.");
    }

private:
    template <class Exception>
    static void expectText(const char *text)
    {
        QCOMPARE(Exception::WHATDATA, text);
        try {
            throw Exception();
        } catch (const std::exception &e) {
            QCOMPARE(e.what(), text);
        }
    }
};

KXCORE_TEST_MAIN(TestTileMemory)
#include "tst_tilememory.moc"
