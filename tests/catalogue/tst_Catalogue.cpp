#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"

#include <QSet>
#include <QTest>

class TestCatalogue : public QObject
{
    Q_OBJECT
private slots:
    void customSourcesCompareByExactFolderName()
    {
        const SourceTool customOllama = SourceTool::custom(QStringLiteral("Ollama"));
        QCOMPARE(customOllama.description(), QStringLiteral("Ollama"));
        QVERIFY(customOllama != SourceTool(SourceTool::Kind::ollama));
        QVERIFY(qHash(customOllama) != qHash(SourceTool(SourceTool::Kind::ollama)));
        QVERIFY(SourceTool::custom(QStringLiteral("Models")) != SourceTool::custom(QStringLiteral("models")));
        QCOMPARE(SourceTool::custom(QStringLiteral("Models")), SourceTool::custom(QStringLiteral("Models")));

        QSet<SourceTool> sources{SourceTool::custom(QStringLiteral("A")), SourceTool::custom(QStringLiteral("A")),
                                 SourceTool(SourceTool::Kind::jan)};
        QCOMPARE(sources.size(), 2);
    }

    void keysRoundTripForEveryKind()
    {
        for (int k = 0; k <= int(SourceTool::Kind::drawThings); ++k) {
            const SourceTool source(static_cast<SourceTool::Kind>(k));
            QCOMPARE(SourceTool::kindFromKey(source.key()), source.kind());
        }
        QVERIFY(!SourceTool::kindFromKey(QStringLiteral("Ollama")));
    }

    void verificationStatusEqualityIncludesReason()
    {
        using S = DuplicateVerificationStatus;
        QVERIFY(S::unableToVerify(QStringLiteral("a")) != S::unableToVerify(QStringLiteral("b")));
        QCOMPARE(S::verified(), S::verified());
        QVERIFY(S::verified() != S::unverified());
    }

    void newRecordsGetFreshIdentity()
    {
        const auto a = DetectedModel::create(QStringLiteral("m"), SourceTool::Kind::jan, {QStringLiteral("/x")}, 5, distantPast());
        const auto b = DetectedModel::create(QStringLiteral("m"), SourceTool::Kind::jan, {QStringLiteral("/x")}, 5, distantPast());
        QVERIFY(a.id != b.id);
        QVERIFY(!a.isOrphaned && !a.duplicateGroup);
        QCOMPARE(a.duplicateVerificationStatus, DuplicateVerificationStatus::unverified());
        QVERIFY(isDistantPast(a.lastModified));
        QCOMPARE(distantPast().date(), QDate(1, 1, 1));
    }

    void definitionsCoverTheSixApplicationsInScanOrder()
    {
        const auto &all = ModelSourceDefinition::all();
        QCOMPARE(all.size(), 6);
        for (int i = 0; i < all.size(); ++i)
            QCOMPARE(all[i].tool.kind(), SourceTool::builtInKinds()[i]);
        QVERIFY(!ModelSourceDefinition::find(SourceTool::custom(QStringLiteral("Ollama"))));
        const ModelSourceDefinition *jan = ModelSourceDefinition::find(SourceTool::Kind::jan);
        QVERIFY(jan && jan->appBundleIdentifiers.isEmpty());
        const ModelSourceDefinition *lmStudio = ModelSourceDefinition::find(SourceTool::Kind::lmStudio);
        QCOMPARE(lmStudio->appBundleNames, (QStringList{QStringLiteral("LM Studio.app"), QStringLiteral("Bionic.app")}));
        for (const auto &definition : all) {
            for (const QString &path : definition.paths)
                QVERIFY2(path.endsWith(QLatin1Char('/')), qPrintable(path));
        }
    }
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_Catalogue.moc"
