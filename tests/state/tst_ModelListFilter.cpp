#include "state/ModelListModel.h"

#include <QTest>

using namespace Qt::StringLiterals;

// The search field and the sort choice above the list: which rows show, in which order,
// and what the section headers then count.
class TestModelListFilter : public QObject
{
    Q_OBJECT

    static DetectedModel model(const QString &name, const SourceTool &source, qint64 size, int day)
    {
        return DetectedModel::create(name, source, {QStringLiteral("/m/") + name}, size,
                                     QDateTime(QDate(2026, 1, day), QTime(12, 0), Qt::UTC));
    }

    // Every row as "# title count size" or "name".
    static QStringList rows(const ModelListModel &list)
    {
        QStringList shown;
        for (int i = 0; i < list.rowCount(); ++i) {
            const QModelIndex index = list.index(i);
            const QString title = index.data(ModelListModel::TitleRole).toString();
            shown << (index.data(ModelListModel::RowKindRole) == QLatin1String("header")
                          ? QStringLiteral("# %1 %2 %3").arg(title).arg(index.data(ModelListModel::CountRole).toInt())
                                .arg(index.data(ModelListModel::SizeBytesRole).toLongLong())
                          : title);
        }
        return shown;
    }

private slots:
    void searchNarrowsAndSortOrdersWithinSections_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("order");
        QTest::addColumn<QStringList>("expected");
        const QStringList scanOrder{u"# LM Studio 3 60"_s, u"beta"_s, u"Alpha"_s, u"gamma"_s, u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("scan order") << QString() << u"scan"_s << scanOrder;
        QTest::newRow("size") << QString() << u"size"_s << QStringList{u"# LM Studio 3 60"_s, u"gamma"_s, u"Alpha"_s, u"beta"_s, u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("name") << QString() << u"name"_s << QStringList{u"# LM Studio 3 60"_s, u"Alpha"_s, u"beta"_s, u"gamma"_s, u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("date") << QString() << u"date"_s << QStringList{u"# LM Studio 3 60"_s, u"Alpha"_s, u"gamma"_s, u"beta"_s, u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("name, any case") << u"ALP"_s << u"scan"_s << QStringList{u"# LM Studio 1 20"_s, u"Alpha"_s};
        QTest::newRow("source") << u"archive"_s << u"size"_s << QStringList{u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("nothing") << u"zzz"_s << u"scan"_s << QStringList();
        QTest::newRow("unknown order keeps scan order") << QString() << u"colour"_s << scanOrder;
        QTest::newRow("parameters, unknown last") << QString() << u"parameters"_s << QStringList{u"# LM Studio 3 60"_s, u"beta"_s, u"gamma"_s, u"Alpha"_s, u"# Archive 1 5"_s, u"delta"_s};
        QTest::newRow("quantization") << u"q8"_s << u"scan"_s << QStringList{u"# LM Studio 1 30"_s, u"gamma"_s};
        QTest::newRow("architecture") << u"LLAMA"_s << u"scan"_s << QStringList{u"# LM Studio 1 10"_s, u"beta"_s};
    }
    void searchNarrowsAndSortOrdersWithinSections()
    {
        QFETCH(QString, filter);
        QFETCH(QString, order);
        QFETCH(QStringList, expected);
        QList<DetectedModel> models{model(QStringLiteral("beta"), SourceTool::Kind::lmStudio, 10, 1),
                                    model(QStringLiteral("Alpha"), SourceTool::Kind::lmStudio, 20, 9),
                                    model(QStringLiteral("gamma"), SourceTool::Kind::lmStudio, 30, 5),
                                    model(QStringLiteral("delta"), SourceTool::custom(QStringLiteral("Archive")), 5, 2)};
        models[0].details = ModelDetails{ModelDetails::Format::gguf, u"llama"_s, 8'000'000'000, u"Q4_K_M"_s, {}, {}, {}};
        models[2].details = ModelDetails{ModelDetails::Format::gguf, u"qwen2"_s, 1'500'000'000, u"Q8_0"_s, {}, {}, {}};
        ModelListModel list;
        list.setModels(&models, {});
        list.setSortOrder(order);
        list.setFilterText(filter);
        QCOMPARE(rows(list), expected);
    }
};

QTEST_GUILESS_MAIN(TestModelListFilter)
#include "tst_ModelListFilter.moc"
