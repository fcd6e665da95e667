#include "state/ModelListModel.h"

#include <QTest>

using namespace Qt::StringLiterals;

// What the list says to a screen reader, and which row has the keyboard as the rows
// change under it.
class TestModelListAccess : public QObject
{
    Q_OBJECT

    static DetectedModel model(const QString &name, const SourceTool &source, qint64 size)
    {
        return DetectedModel::create(name, source, {u"/m/"_s + name}, size, QDateTime(QDate(2026, 1, 5), QTime(12, 0), Qt::UTC));
    }

    // The title of the row that has the keyboard, or "none".
    static QString current(const ModelListModel &list)
    {
        const int row = list.currentRow();
        return row < 0 ? u"none"_s : list.index(row).data(ModelListModel::TitleRole).toString();
    }

private slots:
    void rowsSayEveryMarkTheyShow_data()
    {
        QTest::addColumn<DetectedModel>("entry");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("reason"); // said after the date, when a mark has one
        const SourceTool ollama = SourceTool::Kind::ollama;
        DetectedModel orphan = model(u"left"_s, SourceTool::Kind::gpt4All, 1500);
        orphan.isOrphaned = true;
        DetectedModel downloading = model(u"sha256-a-partial"_s, ollama, 2'000'000);
        downloading.leftover = LeftoverKind::partialDownload;
        downloading.lastModified = QDateTime::currentDateTimeUtc();
        DetectedModel blob = model(u"sha256-b"_s, ollama, 10);
        blob.leftover = LeftoverKind::unreferencedBlob;
        DetectedModel likely = model(u"solo"_s, SourceTool::custom(u"Copies"_s), 10), verified = likely, unable = likely;
        likely.duplicateGroup = verified.duplicateGroup = unable.duplicateGroup = QUuid::createUuid();
        verified.duplicateVerificationStatus = DuplicateVerificationStatus::verified();
        unable.duplicateVerificationStatus = DuplicateVerificationStatus::unableToVerify(u"x.gguf: gone"_s);
        DetectedModel unnamed = model(u"odd"_s, ollama, 10);
        unnamed.problem = u"A file name is not valid text."_s;
        orphan.duplicateGroup = likely.duplicateGroup;

        QTest::newRow("plain") << model(u"llama3:latest"_s, ollama, 4'700'000'000) << u"llama3:latest, Ollama, 4.7 GB"_s << QString();
        QTest::newRow("orphan in a group") << orphan << u"left, GPT4All, 2 KB, orphaned, likely duplicate"_s << QString();
        QTest::newRow("download going on") << downloading
                                           << u"sha256-a-partial, Ollama, 2 MB, unfinished download, may still be downloading"_s
                                           << QString();
        QTest::newRow("unused blob") << blob << u"sha256-b, Ollama, 10 bytes, blob no model uses"_s << QString();
        QTest::newRow("verified") << verified << u"solo, Copies, 10 bytes, verified duplicate"_s << QString();
        QTest::newRow("unable") << unable << u"solo, Copies, 10 bytes, unable to verify"_s
                                  << u"Unable to verify duplicate status. x.gguf: gone"_s;
        QTest::newRow("cannot be moved") << unnamed << u"odd, Ollama, 10 bytes, cannot be moved"_s
                                           << u"A file name is not valid text."_s;
    }
    void rowsSayEveryMarkTheyShow()
    {
        QFETCH(DetectedModel, entry);
        QFETCH(QString, name);
        QFETCH(QString, reason);
        QCOMPARE(ModelListModel::accessibleName(entry), name);
        const QString date = ModelListModel::modifiedText(entry.lastModified);
        QCOMPARE(ModelListModel::accessibleDescription(entry), reason.isEmpty() ? date : date + u'\n' + reason);
    }

    void headersSayTheirSectionAndTheRowThatHasTheKeyboardFollowsItsModel()
    {
        QList<DetectedModel> models{model(u"a"_s, SourceTool::Kind::lmStudio, 10), model(u"b"_s, SourceTool::Kind::lmStudio, 20),
                                    model(u"c"_s, SourceTool::Kind::jan, 5), model(u"d"_s, SourceTool::Kind::jan, 1)};
        ModelListModel list;
        list.setModels(&models, {});
        // # LM Studio, a, b, # Jan, c, d
        QCOMPARE(list.index(0).data(ModelListModel::AccessibleNameRole).toString(), u"LM Studio, 2 models, 30 bytes"_s);
        QCOMPARE(list.index(3).data(ModelListModel::AccessibleNameRole).toString(), u"Jan, 2 models, 6 bytes"_s);

        // Arrows step over the headers and stop at both ends; a header never takes it.
        QCOMPARE(current(list), u"a"_s);
        const QStringList expected{u"b"_s, u"c"_s, u"d"_s, u"d"_s};
        for (const QString &title : expected) {
            list.moveCurrentRow(1);
            QCOMPARE(current(list), title);
        }
        list.moveCurrentRow(-100);
        QCOMPARE(current(list), u"a"_s);
        list.setCurrentRow(3);
        QCOMPARE(current(list), u"a"_s);
        QCOMPARE(list.shownModelIds(), (QList<QUuid>{models[0].id, models[1].id, models[2].id, models[3].id}));

        // A search that keeps its model keeps it; one that hides it hands the keyboard
        // to the row now in its place, and one that shows nothing to no row.
        list.setCurrentRow(4);
        list.setFilterText(u"c"_s);
        QCOMPARE(list.currentRow(), 1);
        list.setFilterText(QString());
        QCOMPARE(list.currentRow(), 4);
        list.setFilterText(u"d"_s); // "LM Studio" and "d": c, the current one, goes
        QCOMPARE(current(list), u"d"_s);
        list.setFilterText(u"zzz"_s);
        QCOMPARE(current(list), u"none"_s);
        QVERIFY(!list.currentModel());
        list.setFilterText(QString());
        QCOMPARE(current(list), u"a"_s);

        // A rescan draws new ids: the same files keep the keyboard; after a deletion it
        // passes to the row that took the deleted one's place.
        list.moveCurrentRow(2);
        QList<DetectedModel> rescanned;
        for (const DetectedModel &m : models)
            rescanned.append(model(m.displayName, m.sourceTool, m.sizeBytes));
        models = rescanned;
        list.setModels(&models, {});
        QCOMPARE(current(list), u"c"_s);
        models.removeAt(2);
        list.setModels(&models, {});
        QCOMPARE(current(list), u"d"_s);
    }
};

QTEST_GUILESS_MAIN(TestModelListAccess)
#include "tst_ModelListAccess.moc"
