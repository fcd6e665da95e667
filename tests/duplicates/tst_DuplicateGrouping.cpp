#include "duplicates/DuplicateDetector.h"
#include "support/TempHome.h"

#include <QTest>
#include <limits>

namespace {

DetectedModel model(const QString &name, qint64 size, SourceTool source = SourceTool::Kind::ollama)
{
    return DetectedModel::create(name, source, {QStringLiteral("/nowhere/") + name}, size, distantPast());
}

} // namespace

class TestDuplicateGrouping : public QObject
{
    Q_OBJECT
private slots:
    void normalisation_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("several suffixes in list order") << "x-fp16-q4_k_m" << "x";
        QTest::newRow("earlier suffix not retried, hyphen left then trimmed") << "x-q4_k_m-fp16" << "x";
        QTest::newRow("unhyphenated earlier suffix not retried") << "xq4_0fp16" << "xq4-0";
        QTest::newRow("each suffix once") << "xfp16fp16" << "xfp16";
        QTest::newRow("suffix needs no separator") << "llamaq8_0" << "llama";
        QTest::newRow("two hyphenated suffixes") << "Llama-Q8_0-Q4_0" << "llama";
        QTest::newRow("suffix only at the end") << "q4_0-model" << "q4-0-model";
        QTest::newRow("user prefix dropped") << "someuser/phi3" << "phi3";
        QTest::newRow("suffix removed before the slash rule") << "org/model-q4_k_m" << "model";
        QTest::newRow("extension kept") << "model.gguf" << "model-gguf";
        QTest::newRow("separator runs collapse") << "Llama3: (8B)__instruct . v2" << "llama3-8b-instruct-v2";
        QTest::newRow("tag colon") << "Llama3:Latest" << "llama3-latest";
        QTest::newRow("other punctuation kept") << "phi+3,mini" << "phi+3,mini";
        QTest::newRow("non-ASCII lower-cased") << QStringLiteral("ÄÖÜ-Модель-ΣΟΦΙΑ") << QStringLiteral("äöü-модель-σοφια");
        QTest::newRow("upper-case suffix found after lower-casing") << QStringLiteral("ÉCLAIR-BF16") << QStringLiteral("éclair");
    }

    void normalisation()
    {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        QCOMPARE(DuplicateDetector::normalizedName(name), expected);
    }

    // Two models of one source: grouped exactly when their normalised names match and
    // their sizes round to the same multiple of about a hundredth of the size.
    void pairs_data()
    {
        QTest::addColumn<QString>("nameA");
        QTest::addColumn<qint64>("sizeA");
        QTest::addColumn<QString>("nameB");
        QTest::addColumn<qint64>("sizeB");
        QTest::addColumn<bool>("grouped");
        const qint64 largest = std::numeric_limits<qint64>::max();
        QTest::newRow("same grain of 123") << "a" << qint64(12'345) << "a" << qint64(12'399) << true;
        QTest::newRow("next grain") << "a" << qint64(12'399) << "a" << qint64(12'400) << false;
        QTest::newRow("every byte counts below 200") << "a" << qint64(198) << "a" << qint64(199) << false;
        QTest::newRow("grain of 2 from 200") << "a" << qint64(200) << "a" << qint64(201) << true;
        QTest::newRow("gigabytes, grain apart") << "a" << qint64(4'012'345'678) << "a" << qint64(4'000'000'000) << false;
        QTest::newRow("largest sizes do not overflow") << "a" << largest << "a" << largest - 1 << true;
        QTest::newRow("quantisations of different sizes") << "mistral-7b-q4_k_m" << qint64(4'100'000'000)
                                                          << "mistral-7b-q8_0" << qint64(7'700'000'000) << false;
        QTest::newRow("names that normalise alike") << "Llama3:Latest" << qint64(4'000'000'000) << "someuser/llama3-latest-Q4_0"
                                                    << qint64(4'000'000'001) << true;
        QTest::newRow("names that differ") << "llama3" << qint64(10) << "llama3.1" << qint64(10) << false;
        QTest::newRow("empty names of size zero") << "" << qint64(0) << "--__" << qint64(0) << true;
    }

    void pairs()
    {
        QFETCH(QString, nameA);
        QFETCH(qint64, sizeA);
        QFETCH(QString, nameB);
        QFETCH(qint64, sizeB);
        QFETCH(bool, grouped);
        QList<DetectedModel> models{model(nameA, sizeA), model(nameB, sizeB)};
        DuplicateDetector().markDuplicates(models);
        QCOMPARE(models[0].duplicateGroup.has_value(), grouped);
        QCOMPARE(models[1].duplicateGroup, models[0].duplicateGroup);
    }

    // Groups span sources; a stale state from an earlier check is reset for members and
    // kept for a model alone under its key; nothing else changes, and the order stays.
    void groupsSpanSourcesAndResetTheirState()
    {
        QList<DetectedModel> models{model(QStringLiteral("Qwen2.5"), 1'000'000), model(QStringLiteral("other"), 1'000'000),
                                    model(QStringLiteral("qwen2-5"), 1'000'050, SourceTool::Kind::lmStudio),
                                    model(QStringLiteral("QWEN2_5-FP16"), 1'000'001, SourceTool::custom(QStringLiteral("Models"))),
                                    model(QStringLiteral("someuser/phi3"), 2'000, SourceTool::Kind::jan),
                                    model(QStringLiteral("phi3"), 2'000, SourceTool::Kind::gpt4All)};
        models[0].duplicateVerificationStatus = DuplicateVerificationStatus::verified();
        models[2].duplicateVerificationStatus = DuplicateVerificationStatus::unableToVerify(QStringLiteral("old"));
        models[2].isOrphaned = true;
        const QUuid oldGroup = QUuid::createUuid();
        models[1].duplicateGroup = oldGroup;
        models[1].duplicateVerificationStatus = DuplicateVerificationStatus::verified();
        const QList<DetectedModel> before = models;

        DuplicateDetector().markDuplicates(models);
        const QUuid group = models[0].duplicateGroup.value_or(QUuid());
        QVERIFY(!group.isNull() && group != oldGroup);
        for (int i : {0, 2, 3}) {
            QCOMPARE(models[i].duplicateGroup, group);
            QCOMPARE(models[i].duplicateVerificationStatus, DuplicateVerificationStatus::unverified());
        }
        QCOMPARE(models[1].duplicateGroup, oldGroup);
        QCOMPARE(models[1].duplicateVerificationStatus, DuplicateVerificationStatus::verified());
        QVERIFY(models[4].duplicateGroup && models[4].duplicateGroup == models[5].duplicateGroup && models[4].duplicateGroup != group);
        for (qsizetype i = 0; i < models.size(); ++i) {
            QCOMPARE(models[i].id, before[i].id);
            QCOMPARE(models[i].displayName, before[i].displayName);
            QCOMPARE(models[i].sourceTool, before[i].sourceTool);
            QCOMPARE(models[i].isOrphaned, before[i].isOrphaned);
        }
    }
};

QTEST_GUILESS_MAIN(TestDuplicateGrouping)
#include "tst_DuplicateGrouping.moc"
