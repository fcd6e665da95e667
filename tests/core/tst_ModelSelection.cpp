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

    // In the window's order: beta (orphan), partial (leftover), alpha (Ollama), Model-9 (Jan), model-10 and gamma (Mine).
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

    QStringList names(const QList<DetectedModel> &models, const QList<qsizetype> &rows) const
    {
        QStringList shown;
        for (const qsizetype row : rows)
            shown << models[row].displayName;
        return shown;
    }

private slots:
    void valuesAreReadExactlyOrRefused()
    {
        const std::optional<qint64> refused;
        const QList<std::tuple<QString, std::optional<qint64>, std::optional<qint64>>> rows{
            // text, as a size, as an age
            {u"4096"_s, 4096, refused},
            {u"500MB"_s, 500'000'000, refused},
            {u"2gb"_s, 2'000'000'000, refused},
            {u"2G"_s, 2'000'000'000, refused},
            {u" 1.5 GiB "_s, 1'610'612'736, refused},
            {u"7KiB"_s, 7168, refused},
            {u"0.0001KB"_s, 0, refused},
            {u"9223372036854775807"_s, std::numeric_limits<qint64>::max(), refused},
            {u"9223372036854775808"_s, refused, refused},
            {u"10000000TB"_s, refused, refused},
            {u"1.5"_s, refused, refused}, // no fraction of a byte
            {u"5XB"_s, refused, refused},
            {u"-1GB"_s, refused, refused},
            {u"1e9"_s, refused, refused},
            {u""_s, refused, refused},
            {u"90d"_s, refused, 90 * 86400},
            {u"12h"_s, refused, 12 * 3600},
            {u"2w"_s, refused, 14 * 86400},
            {u"30m"_s, 30'000'000, 1800}, // a size in megabytes, an age in minutes
            {u"45s"_s, refused, 45},
            {u"1.5d"_s, refused, 129'600},
            {u"6M"_s, 6'000'000, refused}, // never six minutes when months were meant
            {u"90D"_s, refused, refused},
            {u"90"_s, 90, refused},
            {u"yesterday"_s, refused, refused},
        };
        for (const auto &[text, size, age] : rows) {
            QVERIFY2(FilterValues::parseSize(text) == size, qPrintable(text));
            QVERIFY2(FilterValues::parseAge(text) == age, qPrintable(text));
        }
    }

    void filtersNarrowAndOrdersArrange_data()
    {
        QTest::addColumn<ModelSelection>("selection");
        QTest::addColumn<QStringList>("expected");
        const auto with = [](auto change) {
            ModelSelection selection;
            change(selection);
            return selection;
        };
        QTest::newRow("the window's order") << ModelSelection() << QStringList{u"beta"_s, u"partial"_s, u"alpha"_s, u"Model-9"_s, u"model-10"_s, u"gamma"_s};
        QTest::newRow("orphans and leftovers")
            << with([](ModelSelection &s) { s.kinds = {Kind::leftovers, Kind::orphans}; }) << QStringList{u"beta"_s, u"partial"_s};
        QTest::newRow("models, orphans included") << with([](ModelSelection &s) { s.kinds = {Kind::models}; })
                                                  << QStringList{u"beta"_s, u"alpha"_s, u"Model-9"_s, u"model-10"_s, u"gamma"_s};
        QTest::newRow("duplicates") << with([](ModelSelection &s) { s.kinds = {Kind::duplicates}; }) << QStringList{u"alpha"_s, u"model-10"_s};
        QTest::newRow("larger than, strictly") << with([](ModelSelection &s) { s.largerThan = 299; })
                                               << QStringList{u"alpha"_s, u"model-10"_s, u"gamma"_s};
        QTest::newRow("smaller than, strictly") << with([](ModelSelection &s) { s.smallerThan = 300; })
                                                << QStringList{u"beta"_s, u"partial"_s, u"Model-9"_s};
        // Exactly seven days old is neither; a date that could not be read is never picked by age.
        QTest::newRow("older than") << with([](ModelSelection &s) { s.olderThan = 7 * 86400; }) << QStringList{u"partial"_s, u"alpha"_s};
        QTest::newRow("newer than") << with([](ModelSelection &s) { s.newerThan = 7 * 86400; }) << QStringList{u"beta"_s, u"gamma"_s};
        QTest::newRow("sources") << with([](ModelSelection &s) { s.sources = {SourceTool::Kind::custom, SourceTool::Kind::jan}; })
                                 << QStringList{u"Model-9"_s, u"model-10"_s, u"gamma"_s};
        // Ties keep the window's order, forwards and reversed.
        QTest::newRow("size") << with([](ModelSelection &s) { s.order = Key::size; })
                              << QStringList{u"gamma"_s, u"alpha"_s, u"model-10"_s, u"Model-9"_s, u"partial"_s, u"beta"_s};
        QTest::newRow("size reversed") << with([](ModelSelection &s) { s.order = Key::size; s.reversed = true; })
                                       << QStringList{u"beta"_s, u"partial"_s, u"Model-9"_s, u"alpha"_s, u"model-10"_s, u"gamma"_s};
        QTest::newRow("name, any case, numbers by value") << with([](ModelSelection &s) { s.order = Key::name; })
                                                          << QStringList{u"alpha"_s, u"beta"_s, u"gamma"_s, u"Model-9"_s, u"model-10"_s, u"partial"_s};
        QTest::newRow("date, unknown last") << with([](ModelSelection &s) { s.order = Key::date; })
                                            << QStringList{u"gamma"_s, u"beta"_s, u"model-10"_s, u"partial"_s, u"alpha"_s, u"Model-9"_s};
        QTest::newRow("source") << with([](ModelSelection &s) { s.order = Key::source; })
                                << QStringList{u"partial"_s, u"alpha"_s, u"beta"_s, u"Model-9"_s, u"model-10"_s, u"gamma"_s};
        QTest::newRow("the window's order reversed") << with([](ModelSelection &s) { s.reversed = true; })
                                                     << QStringList{u"gamma"_s, u"model-10"_s, u"Model-9"_s, u"alpha"_s, u"partial"_s, u"beta"_s};
        QTest::newRow("filters, then order, then limit")
            << with([](ModelSelection &s) { s.kinds = {Kind::models}; s.largerThan = 100; s.order = Key::date; s.limit = 2; })
            << QStringList{u"gamma"_s, u"model-10"_s};
    }

    void filtersNarrowAndOrdersArrange()
    {
        QFETCH(ModelSelection, selection);
        QFETCH(QStringList, expected);
        const QList<DetectedModel> models = scan();
        QCOMPARE(names(models, selection.select(models, now)), expected);
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
