#include "state/ModelListModel.h"

#include <QTest>

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
        const auto list = [](std::initializer_list<const char *> items) {
            QStringList out;
            for (const char *item : items)
                out << QString::fromUtf8(item);
            return out;
        };
        QTest::newRow("scan order") << QString() << QStringLiteral("scan")
                                    << list({"# LM Studio 3 60", "beta", "Alpha", "gamma", "# Archive 1 5", "delta"});
        QTest::newRow("size") << QString() << QStringLiteral("size")
                              << list({"# LM Studio 3 60", "gamma", "Alpha", "beta", "# Archive 1 5", "delta"});
        QTest::newRow("name") << QString() << QStringLiteral("name")
                              << list({"# LM Studio 3 60", "Alpha", "beta", "gamma", "# Archive 1 5", "delta"});
        QTest::newRow("date") << QString() << QStringLiteral("date")
                              << list({"# LM Studio 3 60", "Alpha", "gamma", "beta", "# Archive 1 5", "delta"});
        QTest::newRow("name, any case") << QStringLiteral("ALP") << QStringLiteral("scan")
                                        << list({"# LM Studio 1 20", "Alpha"});
        QTest::newRow("source") << QStringLiteral("archive") << QStringLiteral("size")
                                << list({"# Archive 1 5", "delta"});
        QTest::newRow("nothing") << QStringLiteral("zzz") << QStringLiteral("scan") << QStringList();
        QTest::newRow("unknown order keeps scan order") << QString() << QStringLiteral("colour")
                                                        << list({"# LM Studio 3 60", "beta", "Alpha", "gamma", "# Archive 1 5", "delta"});
    }
    void searchNarrowsAndSortOrdersWithinSections()
    {
        QFETCH(QString, filter);
        QFETCH(QString, order);
        QFETCH(QStringList, expected);
        const QList<DetectedModel> models{model(QStringLiteral("beta"), SourceTool::Kind::lmStudio, 10, 1),
                                          model(QStringLiteral("Alpha"), SourceTool::Kind::lmStudio, 20, 9),
                                          model(QStringLiteral("gamma"), SourceTool::Kind::lmStudio, 30, 5),
                                          model(QStringLiteral("delta"), SourceTool::custom(QStringLiteral("Archive")), 5, 2)};
        ModelListModel list;
        list.setModels(&models, {});
        list.setSortOrder(order);
        list.setFilterText(filter);
        QCOMPARE(rows(list), expected);
    }
};

QTEST_GUILESS_MAIN(TestModelListFilter)
#include "tst_ModelListFilter.moc"
