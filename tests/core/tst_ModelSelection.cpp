#include "core/FilterValues.h"
#include "core/ModelSelection.h"
#include "core/ModelSummary.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Kind = ModelSelection::Kind;
using Key = ModelOrder::Key;

// What the terminal's --only, --source, size and age filters, --sort, --reverse and
// --limit mean over a scan's list.
class TestModelSelection : public QObject
{
    Q_OBJECT

    const QDateTime now{QDate(2026, 6, 1), QTime(12, 0), Qt::UTC};
    const QUuid group = QUuid::createUuid();

    DetectedModel entry(const QString &name, const SourceTool &source, qint64 size, qint64 secondsOld) const
    {
        const QDateTime date = secondsOld < 0 ? distantPast() : now.addSecs(-secondsOld);
        return DetectedModel::create(name, source, {u"/m/"_s + name}, size, date);
    }

    // In the window's order: beta (orphan), partial (leftover), alpha (Ollama), Model-9 (Jan),
    // model-10 and gamma (Mine).
    QList<DetectedModel> scan() const
    {
        constexpr qint64 day = 86400;
        QList<DetectedModel> models{entry(u"alpha"_s, SourceTool::Kind::ollama, 300, 10 * day),
                                    entry(u"beta"_s, SourceTool::Kind::lmStudio, 100, 2 * day),
                                    entry(u"partial"_s, SourceTool::Kind::ollama, 200, 8 * day),
                                    entry(u"model-10"_s, SourceTool::custom(u"Mine"_s), 300, 7 * day),
                                    entry(u"Model-9"_s, SourceTool::Kind::jan, 299, -1),
                                    entry(u"gamma"_s, SourceTool::custom(u"Mine"_s), 301, 3600)};
        models[0].duplicateGroup = models[3].duplicateGroup = group;
        models[1].isOrphaned = true;
        models[2].leftover = LeftoverKind::partialDownload;
        return models;
    }

private slots:
    void valuesAreReadExactlyOrRefused()
    {
        const std::optional<qint64> refused;
        const QList<std::tuple<QString, std::optional<qint64>, std::optional<qint64>>> rows{
            // text, as a size, as an age
            {u"4096"_s, 4096, refused}, {u"500MB"_s, 500'000'000, refused}, {u"2gb"_s, 2'000'000'000, refused},
            {u"2G"_s, 2'000'000'000, refused}, {u" 1.5 GiB "_s, 1'610'612'736, refused}, {u"7KiB"_s, 7168, refused},
            {u"0.0001KB"_s, 0, refused}, {u"9223372036854775807"_s, std::numeric_limits<qint64>::max(), refused},
            {u"9223372036854775808"_s, refused, refused}, {u"10000000TB"_s, refused, refused},
            {u"1.5"_s, refused, refused}, // no fraction of a byte
            {u"5XB"_s, refused, refused}, {u"-1GB"_s, refused, refused}, {u"1e9"_s, refused, refused}, {u""_s, refused, refused},
            {u"90d"_s, refused, 90 * 86400}, {u"12h"_s, refused, 12 * 3600}, {u"2w"_s, refused, 14 * 86400},
            {u"30m"_s, 30'000'000, 1800}, // a size in megabytes, an age in minutes
            {u"45s"_s, refused, 45}, {u"1.5d"_s, refused, 129'600}, {u"90"_s, 90, refused},
            {u"6M"_s, 6'000'000, refused}, // never six minutes when months were meant
            {u"90D"_s, refused, refused}, {u"yesterday"_s, refused, refused},
        };
        for (const auto &[text, size, age] : rows) {
            QVERIFY2(FilterValues::parseSize(text) == size, qPrintable(text));
            QVERIFY2(FilterValues::parseAge(text) == age, qPrintable(text));
        }
    }

    void filtersNarrowAndOrdersArrange()
    {
        const auto pick = [](auto change) {
            ModelSelection selection;
            change(selection);
            return selection;
        };
        static constexpr qint64 week = 7 * 86400;
        const QList<std::pair<ModelSelection, QString>> rows{
            {ModelSelection(), u"alpha beta partial model-10 Model-9 gamma"_s}, // no order asked: the list's own
            {pick([](ModelSelection &s) { s.limit = 2; }), u"beta partial"_s}, // the first two in the window's order
            {pick([](ModelSelection &s) { s.kinds = {Kind::leftovers, Kind::orphans}; }), u"beta partial"_s},
            {pick([](ModelSelection &s) { s.kinds = {Kind::models}; }), u"alpha beta model-10 Model-9 gamma"_s},
            {pick([](ModelSelection &s) { s.kinds = {Kind::duplicates}; }), u"alpha model-10"_s},
            {pick([](ModelSelection &s) { s.largerThan = 299; }), u"alpha model-10 gamma"_s},
            {pick([](ModelSelection &s) { s.smallerThan = 300; }), u"beta partial Model-9"_s},
            // Exactly a week old is neither; a date that could not be read is never picked by age.
            {pick([](ModelSelection &s) { s.olderThan = week; }), u"alpha partial"_s},
            {pick([](ModelSelection &s) { s.newerThan = week; }), u"beta gamma"_s},
            {pick([](ModelSelection &s) { s.sources = {SourceTool::Kind::custom, SourceTool::Kind::jan}; }), u"model-10 Model-9 gamma"_s},
            // Ties keep the window's order, forwards and reversed.
            {pick([](ModelSelection &s) { s.order = Key::size; }), u"gamma alpha model-10 Model-9 partial beta"_s},
            {pick([](ModelSelection &s) { s.order = Key::size, s.reversed = true; }), u"beta partial Model-9 alpha model-10 gamma"_s},
            {pick([](ModelSelection &s) { s.order = Key::name; }), u"alpha beta gamma Model-9 model-10 partial"_s},
            {pick([](ModelSelection &s) { s.order = Key::date; }), u"gamma beta model-10 partial alpha Model-9"_s},
            {pick([](ModelSelection &s) { s.order = Key::source; }), u"partial alpha beta Model-9 model-10 gamma"_s},
            {pick([](ModelSelection &s) { s.reversed = true; }), u"gamma model-10 Model-9 alpha partial beta"_s},
            {pick([](ModelSelection &s) { s.kinds = {Kind::models}, s.largerThan = 100, s.order = Key::date, s.limit = 2; }),
             u"gamma model-10"_s}, // filters, then the order, then the limit
        };
        const QList<DetectedModel> models = scan();
        for (const auto &[selection, expected] : rows) {
            QStringList shown;
            for (const qsizetype row : selection.select(models, now))
                shown << models[row].displayName;
            QCOMPARE(shown.join(u' '), expected);
        }
    }

    void totalsCountOnlyTheSelection()
    {
        const QList<DetectedModel> models = scan();
        ModelSelection older;
        older.olderThan = 7 * 86400;
        QList<DetectedModel> selected;
        for (const qsizetype row : older.select(models, now))
            selected << models[row];
        // alpha's copy is not selected, so only the leftover is reclaimable.
        QCOMPARE(ModelSummary::totalSize(selected), 500);
        QCOMPARE(ModelSummary::reclaimableSize(selected), 200);
        QCOMPARE(ModelSummary::countText(selected), u"1 model and 1 leftover"_s);
        QCOMPARE(ModelSummary::countText({models[2]}), u"1 leftover"_s);
    }
};

QTEST_GUILESS_MAIN(TestModelSelection)
#include "tst_ModelSelection.moc"
