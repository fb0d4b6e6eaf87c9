#include "Entries.h"

#include "KXSelectiveColorsTransformation.h"

namespace catalogue {

namespace {

/// These parameters have no stream operators.
class ListValue : public ParamsValue {
public:
    explicit ListValue(SelectiveParamsList list)
        : m_list(std::move(list))
    {
    }
    bool Write(QDataStream &stream) const override { return m_list.Write(stream); }
    bool Read(QDataStream &stream) override { return m_list.Read(stream); }
    void StreamOut(QDataStream &stream) const override { Write(stream); }
    void StreamIn(QDataStream &stream) override { Read(stream); }

private:
    SelectiveParamsList m_list;
};

SelectiveParamsList listOf(const QList<SelectiveParams> &records, int mode)
{
    SelectiveParamsList list;
    list.m_Mode = mode;
    for (int i = 0; i < records.size(); ++i)
        list.m_Params[i] = records[i];
    return list;
}

/// Warmer skin, greener grass, deeper skies, and cool shadows.
const QList<SelectiveParams> allRanges { { -25, 5, 15, -5 }, { -10, 8, 20, 0 }, { 35, -20, 30, 10 }, { 40, 10, -30, 5 },
    { 50, 20, -40, 15 }, { 10, -25, -15, -5 }, { 0, 2, 12, -4 }, { -4, 1, 5, 3 }, { 15, 5, -10, 20 } };

} // namespace

std::vector<Operation> selectiveColors()
{
    const Choice<SelectiveParamsList> choices[] = {
        { "all nine ranges, relative", listOf(allRanges, 0) },
        { "all nine ranges, absolute", listOf(allRanges, 1) },
        { "reds without cyan, relative", listOf({ { -100, 0, 0, 0 } }, 0) },
    };
    std::vector<Choice<std::function<KXSelectiveColorsTransformation()>>> made;
    for (const auto &choice : choices)
        made.push_back({ choice.name, [list = choice.value] { return KXSelectiveColorsTransformation(list); } });

    const std::string perCent = "per cent", often = "-100 to 100 for each of nine ranges";
    Operation operation = adjustment<KXSelectiveColorsTransformation>(
        { "Selective colours", "KXSelectiveColorsTransformation",
            "Adds ink to some colours and takes it from others: reds to magentas, whites, neutrals and blacks.",
            { { "cyan", perCent, often, "lowers red" }, { "magenta", perCent, often, "lowers green" },
                { "yellow", perCent, often, "lowers blue" }, { "black", perCent, often, "lowers all three" },
                { "mode", "", "0 relative, otherwise absolute", "whether inks count by what is there already" } },
            "four of nine ranges a pixel, and three channels each", "SelectiveColorsAVX2", keepsAlpha },
        made);
    operation.signature = "KXSelectiveColorsFilter 1.00000";
    for (size_t i = 0; i < operation.variants.size(); ++i)
        operation.variants[i].params = [list = choices[i].value] { return std::make_unique<ListValue>(list); };
    return { operation };
}

} // namespace catalogue
