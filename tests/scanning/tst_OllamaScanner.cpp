#include "scanning/OllamaScanner.h"
#include "scanning/OllamaStoreLocator.h"
#include "support/OllamaFixture.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {
const QByteArray oneBlob = OllamaFixture::manifest({{"sha256:c", 1}});

// Writes a manifest below a store's manifests folder; `relative` starts with the host.
QString addManifest(const TempHome &home, const QString &store, const QString &relative, const QByteArray &content = oneBlob)
{
    return home.writeFile(store + QStringLiteral("/manifests/") + relative, content);
}

QStringList names(const QList<DetectedModel> &models)
{
    QStringList result;
    for (const DetectedModel &model : models)
        result << model.displayName;
    return result;
}

OllamaStoreLocator::Inputs inputsIn(const TempHome &home)
{
    return {home.filePath(QStringLiteral(".ollama/models")), home.filePath(QStringLiteral("service/models")), QString(),
            home.filePath(QStringLiteral("etc/ollama.service")), home.filePath(QStringLiteral("etc/ollama.service.d"))};
}
} // namespace

class TestOllamaScanner : public QObject
{
    Q_OBJECT
private slots:
    void namesModelsByNamespaceModelAndTagOfTheRealRegistryFolder()
    {
        TempHome home;
        const QString store = QStringLiteral(".ollama/models");
        for (const char *relative : {"registry.ollama.ai/library/llama3/latest", "registry.ollama.ai/Library/x/y",
                                     "registry.ollama.ai/someuser/mymodel/q4", "registry.ollama.ai/ns/m/a/b"})
            addManifest(home, store, QString::fromLatin1(relative));
        // Too shallow, hidden, another registry, or not a manifest: none is listed.
        for (const char *relative : {"registry.ollama.ai/top", "registry.ollama.ai/library/shallow",
                                     "registry.ollama.ai/library/m/.hidden", "registry.ollama.ai/.tmp/m/t/latest",
                                     "hf.co/user/repo/q4"})
            addManifest(home, store, QString::fromLatin1(relative));
        addManifest(home, store, QStringLiteral("registry.ollama.ai/library/broken/latest"), "{\"config\":");
        home.makeDir(store + QStringLiteral("/manifests/registry.ollama.ai/library/empty/folder"));

        // Manifests in byte order of their paths, whatever order the folders list them in.
        QCOMPARE(names(OllamaScanner({OllamaStore::userStore()}).scan()),
                 (QStringList{QStringLiteral("Library/x:y"), QStringLiteral("llama3:latest"), QStringLiteral("ns/m:a:b"),
                              QStringLiteral("someuser/mymodel:q4")}));

        // The reference counts never follow links inside the manifests tree, so models
        // reached through a linked registry folder could have their shared blobs freed
        // while another registry's manifest still names them: none is listed.
        const QString registry = home.filePath(store + QStringLiteral("/manifests/registry.ollama.ai"));
        QVERIFY(QFile::rename(registry, home.filePath(store + QStringLiteral("/manifests/elsewhere"))));
        QVERIFY(QFile::link(QStringLiteral("elsewhere"), registry));
        QVERIFY(OllamaScanner({OllamaStore::userStore()}).scan().isEmpty());
    }

    void listsTheManifestWithItsExistingBlobsAndStatedSize()
    {
        TempHome home;
        QVERIFY(OllamaScanner({OllamaStore::userStore()}).scan().isEmpty()); // no ~/.ollama yet

        const OllamaFixture ollama(home);
        const QString blobs = home.filePath(QStringLiteral(".ollama/models/blobs/"));
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-cfg"), 3);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-weights"), 5);
        const QList<OllamaFixture::Blob> shared{{"sha256:cfg", 100}, {"sha256:weights", 4'000'000'000}, {"sha256:missing", 20}, {"sha256:weights", 7}};
        const QString latest = ollama.addModel(QStringLiteral("library/m/latest"), shared, false);
        const QString small = ollama.addModel(QStringLiteral("library/m/small"), shared, false);
        // Digests that would name files outside the blobs folder are never listed.
        home.writeFile(QStringLiteral(".ollama/models/outside"), 1);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-..x"), 1);
        const QString pruned = ollama.addModel(QStringLiteral("library/pruned/latest"),
                                               {{"sha256:gone", 11}, {"sha256:../outside", 6}, {"../outside", 7}, {"sha256:..x", 0}}, false);
        const QDateTime when(QDate(2024, 5, 17), QTime(8, 30), Qt::UTC);
        TempHome::setModified(latest, when);

        const QList<DetectedModel> models = OllamaScanner({OllamaStore::userStore()}).scan();
        QCOMPARE(models.size(), 3);
        for (const DetectedModel &model : models) {
            QCOMPARE(model.sourceTool, SourceTool(SourceTool::Kind::ollama));
            QVERIFY(!model.isOrphaned && !model.duplicateGroup);
            if (model.displayName == QStringLiteral("pruned:latest")) {
                QCOMPARE(model.filePaths, (QStringList{pruned, blobs + QStringLiteral("sha256-..x")}));
                QCOMPARE(model.sizeBytes, qint64(24));
                continue;
            }
            // A repeated digest lists its blob twice; a missing blob is left out but
            // still counts in the stated size.
            const QString manifestPath = model.displayName == QStringLiteral("m:latest") ? latest : small;
            QCOMPARE(model.filePaths, (QStringList{manifestPath, blobs + QStringLiteral("sha256-cfg"),
                                                   blobs + QStringLiteral("sha256-weights"),
                                                   blobs + QStringLiteral("sha256-weights")}));
            QCOMPARE(model.sizeBytes, qint64(4'000'000'127));
        }
        const auto latestModel = std::find_if(models.begin(), models.end(), [](const DetectedModel &model) {
            return model.displayName == QStringLiteral("m:latest");
        });
        QCOMPARE(latestModel->lastModified, when);
    }

    void findsEveryStoreAndScansThemInOrder()
    {
        TempHome home;
        OllamaStoreLocator::Inputs inputs = inputsIn(home);
        inputs.environmentModelsDir = home.filePath(QStringLiteral("env/models"));
        home.writeFile(QStringLiteral("etc/ollama.service"),
                       "[Service]\nUser=ollama\nEnvironment=\"OLLAMA_MODELS=/unit/models\"\n");
        // The last word counts, but only from the Service section and never from a comment.
        home.writeFile(QStringLiteral("etc/ollama.service.d/20-later.conf"),
                       QByteArray("[Service]\nEnvironment=\"OLLAMA_MODELS=") + QFile::encodeName(home.path())
                           + "/unit models\" OLLAMA_HOST=127.0.0.1\n# Environment=OLLAMA_MODELS=/commented\n"
                             "[Install]\nEnvironment=OLLAMA_MODELS=/install/section\n");
        home.writeFile(QStringLiteral("etc/ollama.service.d/10-earlier.conf"),
                       "[Service]\nEnvironment=OLLAMA_MODELS=/earlier/models\n");
        home.writeFile(QStringLiteral("etc/ollama.service.d/30-ignored.conf.disabled"),
                       "[Service]\nEnvironment=OLLAMA_MODELS=/disabled/models\n");
        const OllamaStoreLocator locator(inputs);
        QCOMPARE(locator.serviceUnitModelsDir(), home.filePath(QStringLiteral("unit models")));

        const QStringList folders{QStringLiteral(".ollama/models"), QStringLiteral("env/models"),
                                  QStringLiteral("unit models"), QStringLiteral("service/models")};
        QList<OllamaStore> expected;
        for (qsizetype i = 0; i < folders.size(); ++i) {
            expected.append({home.filePath(folders[i])});
            addManifest(home, folders[i], QStringLiteral("registry.ollama.ai/library/m%1/latest").arg(i));
        }
        QCOMPARE(locator.stores(), expected);
        QCOMPARE(names(OllamaScanner(locator.stores()).scan()),
                 (QStringList{QStringLiteral("m0:latest"), QStringLiteral("m1:latest"), QStringLiteral("m2:latest"),
                              QStringLiteral("m3:latest")}));

        // Nothing named anywhere but the two default places; a relative folder is no place.
        inputs.environmentModelsDir = QStringLiteral("models");
        inputs.serviceUnitFile = home.filePath(QStringLiteral("etc/none.service"));
        inputs.serviceDropInDir = home.filePath(QStringLiteral("etc/none.service.d"));
        QCOMPARE(OllamaStoreLocator(inputs).stores(), (QList<OllamaStore>{expected[0], expected[3]}));
    }

    void walksAStoreReachedTwiceOnce()
    {
        TempHome home;
        addManifest(home, QStringLiteral(".ollama/models"), QStringLiteral("registry.ollama.ai/library/m/latest"));
        const QString alias = home.filePath(QStringLiteral("alias"));
        QVERIFY(QFile::link(home.filePath(QStringLiteral(".ollama/models")), alias));

        OllamaStoreLocator::Inputs inputs = inputsIn(home);
        inputs.environmentModelsDir = alias;
        inputs.serviceModelsDir = home.filePath(QStringLiteral(".ollama/models/"));
        QCOMPARE(OllamaStoreLocator(inputs).stores(), QList<OllamaStore>{OllamaStore::userStore()});

        const OllamaScanner scanner({OllamaStore{alias}, OllamaStore::userStore(), OllamaStore{alias + QLatin1Char('/')}});
        QCOMPARE(scanner.roots(SourceTool::Kind::ollama), QStringList{alias});
        const QList<DetectedModel> models = scanner.scan();
        QCOMPARE(names(models), QStringList{QStringLiteral("m:latest")});
        QVERIFY(models[0].filePaths[0].startsWith(alias + QLatin1Char('/')));
    }
};

QTEST_GUILESS_MAIN(TestOllamaScanner)
#include "tst_OllamaScanner.moc"
