#include "duplicates/DuplicateDetector.h"
#include "support/TempHome.h"

#include <QSet>
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
        QTest::newRow("only the first slash") << "a/b/c" << "b/c";
        QTest::newRow("suffix removed before the slash rule") << "org/model-q4_k_m" << "model";
        QTest::newRow("separators only") << "--__" << "";
        QTest::newRow("empty") << "" << "";
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

    void roundingIsRelativeToTheSize()
    {
        QCOMPARE(DuplicateDetector::roundedSize(12345), 12300);
        QCOMPARE(DuplicateDetector::roundedSize(12400), 12400);
        QCOMPARE(DuplicateDetector::roundedSize(12399), 12300); // grain 123
        QCOMPARE(DuplicateDetector::roundedSize(0), 0);
        for (qint64 size = 1; size < 200; ++size) // grain 1 below 200 bytes
            QCOMPARE(DuplicateDetector::roundedSize(size), size);
        QCOMPARE(DuplicateDetector::roundedSize(201), 200);
        QCOMPARE(DuplicateDetector::roundedSize(4'000'000'000), 4'000'000'000);
        QCOMPARE(DuplicateDetector::roundedSize(4'012'345'678), 4'012'345'600); // grain 40,123,456
        QCOMPARE(DuplicateDetector::roundedSize(-12345), -12345);
    }

    void roundingHandlesTheExtremes()
    {
        const qint64 largest = std::numeric_limits<qint64>::max();
        const qint64 rounded = DuplicateDetector::roundedSize(largest);
        QVERIFY(rounded <= largest);
        QVERIFY(rounded > largest / 100 * 98);
        const qint64 smallest = std::numeric_limits<qint64>::min();
        QCOMPARE(DuplicateDetector::roundedSize(smallest), smallest);
    }

    void keyJoinsNameAndRoundedSize()
    {
        QCOMPARE(DuplicateDetector::groupKey(model(QStringLiteral("Llama3:Latest"), 4'000'000'000)),
                 QStringLiteral("llama3-latest|4000000000"));
        QCOMPARE(DuplicateDetector::groupKey(model(QString(), 0)), QStringLiteral("|0"));
        QCOMPARE(DuplicateDetector::groupKey(model(QStringLiteral("x"), -5)), QStringLiteral("x|-5"));
    }

    void groupsSpanSources()
    {
        QList<DetectedModel> models{
            model(QStringLiteral("Llama3:Latest"), 4'000'000'000, SourceTool::Kind::ollama),
            model(QStringLiteral("llama3-latest"), 4'000'000'000, SourceTool::Kind::lmStudio),
            model(QStringLiteral("someuser/phi3"), 2'000, SourceTool::custom(QStringLiteral("Models"))),
            model(QStringLiteral("phi3"), 2'000, SourceTool::Kind::jan),
        };
        models[1].isOrphaned = true;
        const QList<DetectedModel> before = models;
        DuplicateDetector().markDuplicates(models);

        QVERIFY(models[0].duplicateGroup);
        QCOMPARE(models[0].duplicateGroup, models[1].duplicateGroup);
        QVERIFY(models[2].duplicateGroup);
        QCOMPARE(models[2].duplicateGroup, models[3].duplicateGroup);
        QVERIFY(models[0].duplicateGroup != models[2].duplicateGroup);
        // Nothing else changes, and the order stays.
        for (qsizetype i = 0; i < models.size(); ++i) {
            QCOMPARE(models[i].id, before[i].id);
            QCOMPARE(models[i].displayName, before[i].displayName);
            QCOMPARE(models[i].sourceTool, before[i].sourceTool);
            QCOMPARE(models[i].isOrphaned, before[i].isOrphaned);
        }
    }

    void sameNameDifferentSizeIsNoGroup()
    {
        QList<DetectedModel> models{model(QStringLiteral("mistral-7b-q4_k_m"), 4'100'000'000),
                                    model(QStringLiteral("mistral-7b-q8_0"), 7'700'000'000),
                                    model(QStringLiteral("a"), 12'345), model(QStringLiteral("a"), 12'400)};
        QCOMPARE(DuplicateDetector::normalizedName(models[0].displayName),
                 DuplicateDetector::normalizedName(models[1].displayName));
        DuplicateDetector().markDuplicates(models);
        for (const DetectedModel &m : models)
            QVERIFY(!m.duplicateGroup);
    }

    void threeInAGroupAndAnOutsider()
    {
        QList<DetectedModel> models{model(QStringLiteral("Qwen2.5"), 1'000'000), model(QStringLiteral("other"), 1'000'000),
                                    model(QStringLiteral("qwen2-5"), 1'000'050), model(QStringLiteral("QWEN2_5-FP16"), 1'000'001)};
        // A stale state from an earlier check is reset for members, kept for the outsider.
        models[0].duplicateVerificationStatus = DuplicateVerificationStatus::verified();
        models[2].duplicateVerificationStatus = DuplicateVerificationStatus::unableToVerify(QStringLiteral("old"));
        const QUuid oldGroup = QUuid::createUuid();
        models[1].duplicateGroup = oldGroup;
        models[1].duplicateVerificationStatus = DuplicateVerificationStatus::verified();

        DuplicateDetector().markDuplicates(models);
        const QUuid group = models[0].duplicateGroup.value_or(QUuid());
        QVERIFY(!group.isNull());
        QVERIFY(group != oldGroup);
        for (int i : {0, 2, 3}) {
            QCOMPARE(models[i].duplicateGroup, group);
            QCOMPARE(models[i].duplicateVerificationStatus, DuplicateVerificationStatus::unverified());
        }
        QCOMPARE(models[1].duplicateGroup, oldGroup);
        QCOMPARE(models[1].duplicateVerificationStatus, DuplicateVerificationStatus::verified());
    }

    void emptyNamesOfSizeZeroGroup()
    {
        QList<DetectedModel> models{model(QString(), 0), model(QStringLiteral("--__"), 0), model(QStringLiteral("x"), 0)};
        DuplicateDetector().markDuplicates(models);
        QVERIFY(models[0].duplicateGroup);
        QCOMPARE(models[0].duplicateGroup, models[1].duplicateGroup);
        QVERIFY(!models[2].duplicateGroup);
    }

    void everyRunDrawsFreshIdentifiers()
    {
        QList<DetectedModel> models{model(QStringLiteral("a"), 10), model(QStringLiteral("a"), 10)};
        DuplicateDetector detector;
        detector.markDuplicates(models);
        const auto first = models[0].duplicateGroup;
        detector.markDuplicates(models);
        QVERIFY(first && models[0].duplicateGroup);
        QVERIFY(first != models[0].duplicateGroup);
        QCOMPARE(models[0].duplicateGroup, models[1].duplicateGroup);
    }

    void manyModelsAreGroupedInOnePass()
    {
        // 100,000 models in 50,000 pairs plus a run of distinct ones: a quadratic
        // member lookup would take minutes here and hit the test timeout.
        QList<DetectedModel> models;
        const int pairs = 50'000;
        models.reserve(2 * pairs + 1000);
        for (int i = 0; i < pairs; ++i)
            models.append(model(QStringLiteral("model-%1").arg(i), 1'000'000 + i * 1000));
        for (int i = 0; i < 1000; ++i)
            models.append(model(QStringLiteral("single-%1").arg(i), 5000));
        for (int i = pairs - 1; i >= 0; --i)
            models.append(model(QStringLiteral("Model_%1-Q4_0").arg(i), 1'000'000 + i * 1000));

        DuplicateDetector().markDuplicates(models);
        QSet<QUuid> groups;
        for (int i = 0; i < pairs; ++i) {
            const DetectedModel &a = models[i];
            const DetectedModel &b = models[models.size() - 1 - i];
            QVERIFY(a.duplicateGroup);
            QCOMPARE(a.duplicateGroup, b.duplicateGroup);
            groups.insert(*a.duplicateGroup);
        }
        QCOMPARE(groups.size(), pairs);
        for (int i = 0; i < 1000; ++i)
            QVERIFY(!models[pairs + i].duplicateGroup);
    }
};

QTEST_GUILESS_MAIN(TestDuplicateGrouping)
#include "tst_DuplicateGrouping.moc"
