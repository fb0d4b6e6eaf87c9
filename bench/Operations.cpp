#include "Scene.h"
#include "Suite.h"

#include "catalogue/Operation.h"

#include <memory>

namespace bench {

// Every adjustment and filter of the catalogue, as its first variant, on an opaque photo. What a peer has too, and each
// composition mode, is measured by rows of its own.
void addOperations(Suite &suite)
{
    static const std::atomic<bool> cancel { false };
    for (const auto kind : { catalogue::Kind::Adjustment, catalogue::Kind::Filter })
        for (const catalogue::Operation &operation : catalogue::operations(kind)) {
            const catalogue::Variant &variant = operation.variants.front();
            const std::string name = operation.name + ", " + variant.name;
            const auto input = std::make_shared<catalogue::Input>();
            suite.addRow(name);
            suite.addOurs(
                name, 5,
                [input] {
                    if (input->image.Width() == 0)
                        input->image = flatPicture(photoLayer);
                    restore(input->image, photoLayer)();
                },
                [input, run = variant.run] {
                    run(*input, { cancel, [](int) {}, [] {} });
                });
        }
}

} // namespace bench
