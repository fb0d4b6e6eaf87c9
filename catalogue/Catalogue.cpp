#include "Entries.h"

#include <algorithm>
#include <iterator>

namespace catalogue {

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> all = [] {
        std::vector<Operation> list;
        for (auto &family :
            { modes(), toneAdjustments(), colorAdjustments(), selectiveColors(), whiteBalance(), profileAdjustments(),
                alphaAdjustments(), glowThresholds(), vignettes(), filters(), samplers(), resizings() })
            list.insert(list.end(), family.begin(), family.end());
        return list;
    }();
    return all;
}

std::vector<Operation> operations(Kind kind)
{
    std::vector<Operation> list;
    std::copy_if(operations().begin(), operations().end(), std::back_inserter(list),
        [kind](const Operation &operation) { return operation.kind == kind; });
    return list;
}

} // namespace catalogue
