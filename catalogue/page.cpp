#include "Operation.h"

#include <cstdio>

// Prints docs/operations.md.

namespace {

using namespace catalogue;

/// A cell of a table: nothing in it may end the cell.
std::string cell(std::string text)
{
    for (size_t at = text.find('|'); at != std::string::npos; at = text.find('|', at + 2))
        text.insert(at, "\\");
    return text.empty() ? " " : text;
}

void printModes()
{
    std::printf(
        "\n## Composition modes\n\n"
        "What becomes of a colour s over a colour d, both in 0..255 and with division by truncation, before the\n"
        "result is mixed in by the coverage and cut at 0 and 255; `KXBlend.h` has what is odd about some.\n\n"
        "- Each is an enumerator of `KXCompositionMode`. What calls take beside it is an opacity, sensible from 0 to\n"
        "  1, and whether the destination keeps its alpha.\n"
        "- Cost: [performance.md](performance.md) has a row for each mode.\n"
        "- Kernel: that of the call, such as `Compose_QImage_RGBA32iImage_avx2`, whatever the mode.\n\n"
        "| value | mode | |\n| --- | --- | --- |\n");
    for (const Operation &operation : operations(Kind::Mode))
        std::printf(
            "| %d | `%s` | %s |\n", int(operation.mode), operation.className.c_str(), cell(operation.summary).c_str());
}

void printOperation(const Operation &operation)
{
    std::printf(
        "\n### %s\n\n`%s`: %s\n\n", operation.name.c_str(), operation.className.c_str(), operation.summary.c_str());
    if (!operation.parameters.empty()) {
        std::printf("| parameter | unit | range | |\n| --- | --- | --- | --- |\n");
        for (const Parameter &parameter : operation.parameters)
            std::printf("| %s | %s | %s | %s |\n", cell(parameter.name).c_str(), cell(parameter.unit).c_str(),
                cell(parameter.range).c_str(), cell(parameter.meaning).c_str());
        std::printf("\n");
    }
    const Promises &promises = operation.promises;
    std::printf("- Alpha %s.\n", promises.keepsAlpha ? "stays" : "may change");
    if (promises.dependsOnPosition)
        std::printf("- The result depends on where a pixel lies.\n");
    if (promises.needsFlat)
        std::printf("- Needs a flat image.\n");
    if (promises.needsTwoProcessors && operation.kind == Kind::Filter)
        std::printf("- On a machine with a single processor the pixels are others.\n");
    std::printf("- Cost: %s.\n", operation.cost.c_str());
    std::printf("- Kernel: %s.\n", operation.kernel.empty() ? "none" : operation.kernel.c_str());
    if (!operation.signature.empty())
        std::printf("- Parameter stream: `%s`, then the parameters in this order.\n", operation.signature.c_str());
}

} // namespace

int main()
{
    std::printf(
        "# Operations\n\n"
        "Every composition mode, adjustment, filter, sampler and way to resize, as the catalogue describes it. The\n"
        "program `kxcore_operations` prints this page; a test holds it against the catalogue.\n\n"
        "Their headers say how they are called, and [recipes.md](recipes.md) does so step by step. Its section\n"
        "[Where the rest is shown](recipes.md#where-the-rest-is-shown) leads to what is not on this page, such as\n"
        "retouching, painting and text.\n");
    printModes();
    for (const auto &[kind, title] : { std::pair(Kind::Adjustment, "Adjustments"), { Kind::Filter, "Filters" },
             { Kind::Sampler, "Samplers" }, { Kind::Resizing, "Resizing" } }) {
        std::printf("\n## %s\n", title);
        if (kind == Kind::Adjustment)
            std::printf("\nOn a machine with a single processor the walks over an image do nothing.\n");
        if (kind == Kind::Resizing)
            std::printf("\nEach is a value of `KXResizeType`, which `KXResizeImage` takes.\n");
        for (const Operation &operation : operations(kind))
            printOperation(operation);
    }
    return 0;
}
