#include "TestSupport.h"

#include "Entries.h"

#include <functional>

/// In a process that has not called loadAVX2Functions(true).
class TestUnbound : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void beforeLoading()
    {
        for (const bool afterRefusal : { false, true }) {
            for (int number = 1; number <= 14; ++number)
                QVERIFY_EXCEPTION_THROWN(callEntry(number), std::bad_function_call);
            for (int number = 15; number <= 18; ++number)
                QVERIFY(!callEntry(number));
            if (!afterRefusal)
                loadAVX2Functions(false); // leaves the slots as they are
        }
    }
};

KXCORE_TEST_MAIN(TestUnbound)
#include "tst_unbound.moc"
