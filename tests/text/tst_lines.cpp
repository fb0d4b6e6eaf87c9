#include "kit/Table.h"

#include "text/LineLayout.h"
#include "text/TextPositions.h"

Q_DECLARE_METATYPE(TextParagraphParams)

/// Breaking and placing lines, and positions, with characters that are all 10 pixels wide.
class TestLines : public QObject {
    Q_OBJECT

    static int measure(const QString &string) { return 10 * string.length(); }

    /// Not the sum of the characters, nor always that of the words: c is closer to a space, aa is one sign, and bccb
    /// also over spaces.
    static double kerned(const QString &string)
    {
        return 10 * string.length() - 2.5 * string.count(" c") - 6.25 * string.count("aa") - string.count("b c  cb");
    }

    static TextParagraphParams entry(int alignment, int left = 0, int right = 0, int first = 0, bool isFirst = true)
    {
        return { alignment, left, right, first, 0, 0, isFirst };
    }

    static QString randomText(QRandomGenerator &random, const char *characters)
    {
        QString result;
        for (int length = random.bounded(60); length > 0; --length)
            result += characters[random.bounded(int(qstrlen(characters)))];
        return result;
    }

private Q_SLOTS:
    void wraps_data()
    {
        const kit::Table<QString, int, int, QStringList> table("text", "width", "indent", "lines");
        table.row("nothing is a line", "", 50, 0, { "" });
        table.row("no width, no lines", "a", 0, 0, {});
        table.row("a space behind a word counts", "aa bb cc", 50, 0, { "aa ", "bb cc" });
        table.row("many spaces go with their word", "aa   bb", 40, 0, { "aa  ", " bb" });
        table.row("the last piece takes the next word", "abcdefg hi", 50, 0, { "abcde", "fg hi" });
        table.row("spaces before a word are apart", "  abc", 40, 0, { "  ", "abc" });
        table.row("a piece of spaces alone", "abcdefghij kl", 50, 0, { "abcde", "fghij", " kl" });
        table.row("pieces after a line", "a bcdefg h", 30, 0, { "a ", "bcd", "efg", " h" });
        table.row("only spaces", "     ", 20, 0, { "  ", "  ", " " });
        table.row("narrower than a character", "ab c", 9, 0, { "a", "b", " ", "c" });
        table.row("an indent", "aa bb", 50, 20, { "aa ", "bb" });
        table.row("an indent below 0", "aa bb", 30, -20, { "aa bb" });
        table.row("an indent above the width", "ab cd", 50, 60, { "a", "b cd" });
        table.row("an indent that overflows", "ab", 30, INT_MIN, { "a", "b" });
        table.row("a pair of surrogates is two", QString::fromUtf8("\U0001F600"), 10, 0,
            { QString(QChar(0xD83D)), QString(QChar(0xDE00)) });
    }
    void wraps()
    {
        QFETCH(QString, text);
        QFETCH(int, width);
        QFETCH(int, indent);
        QTEST(text::wrap(text, width, indent, measure), "lines");
    }

    /// Nothing is lost, no line could have taken more, and positions lead there and back.
    void wrapsRandomTexts()
    {
        QRandomGenerator random = kit::random();
        for (int n = 0; n < 2000; ++n) {
            const QString paragraph = randomText(random, "abc  ");
            const int width = random.bounded(1, 150), indent = random.bounded(-20, 40);
            const QStringList lines = text::wrap(paragraph, width, indent, kerned);
            QCOMPARE(lines.join(""), paragraph);
            for (int i = 0, start = 0; i < lines.size(); start += lines[i++].length()) {
                const int available = std::max(i == 0 ? width - indent : width, 0);
                QVERIFY(text::wholePixels(kerned(lines[i])) <= available || lines[i].length() == 1);
                const int next = start + lines[i].length();
                int wordEnd = next;
                while (wordEnd < paragraph.length() && paragraph[wordEnd] != ' ')
                    ++wordEnd;
                while (wordEnd < paragraph.length() && paragraph[wordEnd] == ' ')
                    ++wordEnd;
                QVERIFY(next == paragraph.length()
                    || text::wholePixels(kerned(paragraph.mid(start, wordEnd - start))) > available);
            }
            const QList<int> advances = text::prefixAdvances(paragraph, kerned);
            for (int k = 0; k <= paragraph.length(); ++k)
                QCOMPARE(advances[k], int(std::floor(kerned(paragraph.left(k)) + 0.5)));
        }
    }

    /// Of a line that is shaped in parts of 4096 characters there is no kerning from one to the next.
    void advancesOfLongLines()
    {
        const auto shaped = [](const QString &string) {
            double advance = 0;
            for (int start = 0; start < string.length(); start += 4096)
                advance += kerned(string.mid(start, 4096));
            return advance;
        };
        for (const QString &first : { QString(), QString("b") }) { // then " c" lies within a part, or at the end of one
            const QString line = first + QString(" c").repeated(2100);
            const QList<int> advances = text::prefixAdvances(line, shaped);
            for (int length = 4000; length <= line.length(); ++length)
                QCOMPARE(advances[length], text::wholePixels(shaped(line.left(length))));
            const int fits = 4151 - first.length(); // up to a space
            QCOMPARE(text::wrap(line, advances[fits], 0, shaped).first().length(), fits);
        }
    }

    /// Digits are shaped as the letters of their line, which here makes them narrower.
    void advancesOfDigits()
    {
        const auto shaped = [](const QString &string) {
            return 10 * string.length() - (string.contains('a') ? int(string.count('1')) : 0);
        };
        const QString line = QString(30, '1') + "a" + QString(30, '1');
        const QList<int> advances = text::prefixAdvances(line, shaped);
        for (int length = 0; length <= line.length(); ++length)
            QCOMPARE(advances[length], shaped(line.left(length)));
    }

    /// What is measured grows with the length of a word, not with its square.
    void measuresLittle()
    {
        qint64 measured = 0;
        const auto counting = [&measured](const QString &string) {
            measured += string.length();
            return measure(string);
        };
        const QString word(10000, 'w');
        for (const int width : { 10, 35, 5000 }) {
            measured = 0;
            const QStringList lines = text::wrap(word, width, 0, counting);
            QCOMPARE(lines.size(), (10000 + width / 10 - 1) / (width / 10));
            QCOMPARE(text::prefixAdvances(word, counting).last(), 100000);
            QVERIFY(measured < 100 * 10000);
        }
    }

    void placesByAlignment_data()
    {
        // Of a line that is 30 wide.
        const kit::Table<TextParagraphParams, int, int> table("entry", "areaWidth", "x");
        table.row("left", entry(1), 100, 0);
        table.row("left, indents", entry(1, 7, 2, 4), 100, 9);
        table.row("not the first line", entry(1, 7, 2, 4, false), 100, 5);
        table.row("centre", entry(2), 101, -15 + 50);
        table.row("centre, halves go to 0", entry(2, 5), 101, -12 + 50);
        table.row("centre, no box", entry(2, 5), 0, -12);
        table.row("centre, a width below 0", entry(2), -9, -15);
        table.row("right", entry(3, 5, 1), 100, 74);
        table.row("right, no box", entry(3), 0, -30);
        table.row("another number", entry(0, 5), 100, 5);
        table.row("overflow", entry(3, INT_MAX, -1), 100, INT_MIN + 70);
    }
    void placesByAlignment()
    {
        QFETCH(TextParagraphParams, entry);
        QFETCH(int, areaWidth);
        QTEST(text::lineX(entry, 30, QRect(0, 0, areaWidth, 10)), "x");
    }

    /// Two paragraphs of two lines each: the entries grow with each layout, and lines find those of the one before.
    void entriesPerLine()
    {
        text::Entries entries { entry(3), entry(2) };
        const QStringList paragraphs { "aa bb", "cc dd" }, lines { "aa ", "bb", "cc ", "dd" };
        QCOMPARE(text::breakLines(paragraphs, QRect(5, 5, 30, 1), entries, measure), lines);
        const auto describe = [&entries] {
            QString result;
            for (const TextParagraphParams &e : entries)
                result += QString("%1%2 ").arg(e.alignment).arg(e.isFirstLine ? "+" : "");
            return result;
        };
        QCOMPARE(describe(), QString("3+ 3 2+ 2 ")); // the second paragraph had number 1, and 1 for a line more
        for (const char *grown : { "3+ 3 3 3 2+ 2 ", "3+ 3 3 3 3 3 2+ 2 " }) {
            text::breakLines(paragraphs, QRect(0, 0, 30, 1), entries, measure);
            QCOMPARE(describe(), QString(grown));
        }
        entries = { entry(1, 10, 0, 20) }; // 70 - 10 for lines, and 20 less for the first
        QCOMPARE(
            text::breakLines({ "aa bb cc" }, QRect(0, 0, 70, 1), entries, measure), (QStringList { "aa ", "bb cc" }));
        entries = { entry(1, 70) };
        QCOMPARE(text::breakLines({ "a", "b" }, QRect(0, 0, 70, 1), entries, measure), QStringList { "b" });
    }

    /// Lines of 8 up and 2 down, 3 apart; the first one is a, of 10, then bb, of 20.
    void placesLines_data()
    {
        // The extent is left, right, bottom, fit.
        const kit::Table<QRect, QList<TextParagraphParams>, QString, QList<int>> table(
            "area", "entries", "places", "extent");
        const auto spaced = [](int before, int after, int left = 0) {
            return TextParagraphParams { 1, left, 0, 0, before, after, true };
        };
        table.row("no box", {}, {}, "0,8:a 0,21:bb ", { 0, 20, 23, text::Extent::Inside });
        table.row("space", {}, { spaced(5, 7), spaced(1, 9) }, "0,13:a 0,29:bb ", { 0, 20, 30, text::Extent::Inside });
        table.row("sum of places", {}, { spaced(0, 0, 4), spaced(0, 0, 6) }, "4,8:a 6,21:bb ", { 0, 26, 23, 0 });
        table.row(
            "to the left of 0", {}, { spaced(0, 0, -4), spaced(0, 0, -6) }, "-4,8:a -6,21:bb ", { -6, 14, 23, 0 });
        table.row("just fits", QRect(9, 9, 20, 21), {}, "0,8:a 0,21:bb ", { 0, 20, 23, text::Extent::Inside });
        table.row("too high", QRect(9, 9, 20, 20), {}, "0,8:a ", { 0, 10, 23, text::Extent::TooHigh });
        table.row("too high from the first on", QRect(9, 9, 20, 8), { spaced(1, 0) }, "",
            { 0, 0, 10, text::Extent::TooHigh });
        table.row("too wide", QRect(9, 9, 19, 99), {}, "0,8:a ", { 0, 10, 23, text::Extent::TooWide });
        table.row("too wide comes first", QRect(9, 9, 19, 9), {}, "0,8:a ", { 0, 10, 23, text::Extent::TooWide });
    }
    void placesLines()
    {
        QFETCH(QRect, area);
        QFETCH(QList<TextParagraphParams>, entries);
        QString places;
        const text::Extent extent = text::placeLines(
            { "a", "bb" }, area, entries, { 8, 2, 3 }, measure, [&places](int x, int baseline, const QString &line) {
                places += QString("%1,%2:%3 ").arg(x).arg(baseline).arg(line);
            });
        QTEST(places, "places");
        QTEST((QList<int> { extent.left, extent.right, extent.bottom, extent.fit }), "extent");
        QCOMPARE(extent.placed, places.count(':'));
        QVERIFY(entries.size() > (extent.fit == text::Extent::Inside ? 1 : 0));
    }

    void positionsThereAndBack()
    {
        QRandomGenerator random = kit::random();
        for (int n = 0; n < 1000; ++n) {
            const QString typed = randomText(random, "abc  \n");
            text::Entries entries;
            const QRect area(0, 0, random.bounded(1, 150), 1);
            const QStringList lines = text::breakLines(text::linesOf(typed), area, entries, measure);
            QCOMPARE(entries.size(), lines.size());
            QCOMPARE(lines.join(""), QString(typed).remove('\n'));
            const QString wrapped = lines.join('\n');
            const text::PositionMap map(typed, wrapped);
            for (int i = 0; i <= typed.length(); ++i)
                QCOMPARE(map.ToTyped(map.ToWrapped(i)), i);
            for (int j = 0; j < wrapped.length(); ++j)
                QVERIFY(map.ToTyped(j) <= map.ToTyped(j + 1) && map.ToWrapped(map.ToTyped(j)) <= j);
            QCOMPARE(text::caretPoints(wrapped, measure).size(), wrapped.length() + 1);
        }
    }
};

KXCORE_TEST_MAIN(TestLines)
#include "tst_lines.moc"
