#include "AVX2LIB.h"
#include "KXComposer.h"
#include "catalogue/Inputs.h"

#include <cstdio>

// Prints a digest of what each operation makes of a picture. The environment says with how many processors, and
// whether with the module: what is printed must not depend on it.

int main(int argc, char **argv)
{
    if (qgetenv("KXCORE_TEST_MODULE") == "none")
        AVX2LIB::UseModule(nullptr);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}); // that there is no module
    QCoreApplication application(argc, argv);
    loadAVX2Functions(true);
    for (const catalogue::Operation &operation : catalogue::operations())
        for (const catalogue::Variant &variant : operation.variants)
            for (const QRect &selected : { QRect(), QRect(20, -30, 150, 160) }) {
                if (operation.kind != catalogue::Kind::Filter && !selected.isEmpty())
                    continue;
                inputs::Count count;
                const kit::Picture picture =
                    kit::Picture::of(variant.run(inputs::salted({ 261, 150 }, false, selected), count.watch()));
                const QByteArray bytes(reinterpret_cast<const char *>(picture.pixels.data()),
                    int(picture.pixels.size() * sizeof(OPRGBA32i)));
                std::printf("%s\t%s, selection %d x %d: %s\n", operation.name.c_str(), variant.name.c_str(),
                    selected.width(), selected.height(),
                    QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().constData());
            }
    return 0;
}
