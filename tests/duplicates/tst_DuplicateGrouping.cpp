#include "core/ModelSummary.h"
#include "core/StashwellCore.h"
#include "duplicates/DuplicateDetector.h"
#include "scanning/StoreDigest.h"
#include "support/OllamaFixture.h"
#include "support/TempHome.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

DetectedModel model(const QString &name, qint64 size, SourceTool source = SourceTool::Kind::ollama)
{
    return DetectedModel::create(name, source, {QStringLiteral("/nowhere/") + name}, size, distantPast());
}

QByteArray noise(qint64 size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    generator.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes;
}

QByteArray changedAt(QByteArray bytes, qint64 offset)
{
    bytes[offset] = char(~bytes.at(offset));
    return bytes;
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

    // What the stores record of a file's digest: the blob's own name, or Jan's model.yml.
    void namedDigests_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("yml");
        QTest::addColumn<bool>("named");
        const QByteArray hex(64, 'a');
        const QByteArray path = "model_path: llamacpp/models/m/model.gguf\n";
        QTest::newRow("Ollama blob") << QStringLiteral("sha256-") + QString::fromLatin1(hex) << QByteArray() << true;
        QTest::newRow("Hugging Face LFS blob") << QString::fromLatin1(hex) << QByteArray() << true;
        QTest::newRow("Hugging Face git blob (SHA-1)") << QString(40, u'a') << QByteArray() << false;
        QTest::newRow("unfinished Ollama blob") << QStringLiteral("sha256-") + QString::fromLatin1(hex) + QStringLiteral("-partial") << QByteArray() << false;
        QTest::newRow("Jan model_sha256") << QStringLiteral("model.gguf") << path + "model_sha256: " + hex + '\n' << true;
        QTest::newRow("Jan older sha256, quoted") << QStringLiteral("model.gguf") << path + "sha256: '" + hex + "'\n" << true;
        QTest::newRow("Jan digest of another file") << QStringLiteral("mmproj.gguf") << path + "model_sha256: " + hex + '\n' << false;
        QTest::newRow("Jan nested key") << QStringLiteral("model.gguf") << path + "extra:\n  sha256: " + hex + '\n' << false;
        QTest::newRow("Jan digest too short") << QStringLiteral("model.gguf") << path + "model_sha256: abc\n" << false;
    }
    void namedDigests()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, yml);
        QFETCH(bool, named);
        const std::optional<QByteArray> digest = yml.isEmpty() ? StoreDigest::fromBlobName(name) : StoreDigest::fromModelYml(yml, name);
        QCOMPARE(digest, named ? std::optional(QByteArray(32, '\xaa')) : std::nullopt);
    }

    // A primary file that is no longer what the walk measured is not compared by content,
    // and one that is no regular file is never opened (a pipe would block the scan).
    void filesChangedSinceTheWalkAreNotGrouped_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<bool>("grouped");
        QTest::newRow("unchanged, for comparison") << QString() << true;
        QTest::newRow("grown") << QStringLiteral("grown") << false;
        QTest::newRow("gone") << QStringLiteral("gone") << false;
        QTest::newRow("a pipe in its place") << QStringLiteral("pipe") << false;
    }
    void filesChangedSinceTheWalkAreNotGrouped()
    {
        QFETCH(QString, change);
        QFETCH(bool, grouped);
        TempHome home;
        const QByteArray weights = noise(1 << 20, 4);
        // Blobs named after their digest: grouped without reading, so only the look at the
        // file tells a changed one.
        const QString blob = QString::fromLatin1(QCryptographicHash::hash(weights, QCryptographicHash::Sha256).toHex());
        QList<DetectedModel> models;
        for (const char *repository : {"a", "b"}) {
            const QString path = home.writeFile(QLatin1String(repository) + u'/' + blob, weights);
            models.append(DetectedModel::create(QLatin1String(repository), SourceTool::Kind::huggingFace, {path}, weights.size(), distantPast()));
            models.last().offerPrimaryFile(path, weights.size());
        }
        const QString b = models.last().primaryFile;
        if (change == QLatin1String("grown"))
            home.writeFile(QStringLiteral("b/") + blob, weights + "!");
        if (change != QLatin1String("grown") && !change.isEmpty())
            QVERIFY(QFile::remove(b));
        if (change == QLatin1String("pipe"))
            QCOMPARE(::mkfifo(QFile::encodeName(b).constData(), 0644), 0);
        DuplicateDetector().markDuplicates(models);
        QCOMPARE(models.first().duplicateGroup.has_value(), grouped);
    }

    // One model file kept under six names by six stores, beside files that only look alike,
    // through the core's scan and verification.
    void copiesUnderEveryName()
    {
        TempHome home;
        for (const char *program : {"ollama", "lm-studio", "jan", "gpt4all", "llama-server"}) {
            const QString path = home.writeFile(QStringLiteral("bin/") + QLatin1String(program), QByteArray("#!/bin/sh\n"));
            QVERIFY(QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeUser));
        }
        const qint64 size = (1 << 20) + 4099;
        const QByteArray weights = noise(size, 1);
        const QByteArray hex = QCryptographicHash::hash(weights, QCryptographicHash::Sha256).toHex();
        // Stores that name the digest: Ollama's blob, Hugging Face blobs, Jan's model.yml.
        OllamaFixture(home).addModel(QStringLiteral("library/qwen3/latest"), {{"sha256:cfg", 2}, {"sha256:" + hex, size}}, false);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-cfg"), 2);
        home.writeFile(QStringLiteral(".ollama/models/blobs/sha256-") + QString::fromLatin1(hex), weights);
        home.writeFile(QStringLiteral(".cache/huggingface/hub/models--org--Qwen3-4B-GGUF/blobs/") + QString::fromLatin1(hex), weights);
        const QString jan = QStringLiteral(".local/share/Jan/data/llamacpp/models/Qwen3-4B-Q4_K_M/");
        home.writeFile(jan + QStringLiteral("model.gguf"), weights);
        home.writeFile(jan + QStringLiteral("model.yml"), "model_path: llamacpp/models/Qwen3-4B-Q4_K_M/model.gguf\n"
                                                          "name: Qwen3-4B-Q4_K_M\nmodel_sha256: " + hex + "\nembedding: false\n");
        // Stores that do not: only samples tell.
        const QString lmStudio = home.writeFile(QStringLiteral(".lmstudio/models/org/Qwen3-4B-GGUF/Qwen3-4B-Q4_K_M.gguf"), weights);
        home.writeFile(QStringLiteral(".local/share/nomic.ai/GPT4All/Qwen3-4B-Q4_K_M.gguf"), weights);
        home.writeFile(QStringLiteral(".cache/llama.cpp/org_Qwen3-4B-GGUF_Qwen3-4B-Q4_K_M.gguf"), weights);
        // A blob named after the weights' digest that holds other bytes, even in its first
        // sampled block: only its name groups it, and only reading settles verification.
        home.writeFile(QStringLiteral(".cache/huggingface/hub/models--org--Misnamed/blobs/") + QString::fromLatin1(hex), changedAt(weights, 10));
        // One file under a second name; a pair alike in every sample; a pair that is not.
        const QByteArray pair = noise(2 << 20, 2);
        home.writeFile(QStringLiteral("Models/first.gguf"), pair);
        home.writeFile(QStringLiteral("Models/second.gguf"), changedAt(pair, 700'000));
        const QByteArray other = noise(2 << 20, 3);
        home.writeFile(QStringLiteral("Models/early-a.gguf"), other);
        home.writeFile(QStringLiteral("Models/early-b.gguf"), changedAt(other, 10));
        QCOMPARE(::link(QFile::encodeName(lmStudio).constData(), QFile::encodeName(home.filePath(QStringLiteral("Models/linked.gguf"))).constData()), 0);
        const StashwellCore core(home.machine());
        QVERIFY(core.addCustomFolder(home.filePath(QStringLiteral("Models"))).accepted);

        QList<DetectedModel> models = core.scan().models;
        const auto groupOf = [&](const QString &name, SourceTool::Kind kind) {
            for (const DetectedModel &model : std::as_const(models)) {
                if (model.displayName == name && model.sourceTool.kind() == kind)
                    return model.duplicateGroup.value_or(QUuid());
            }
            return QUuid::createUuid(); // not found: matches nothing
        };
        using K = SourceTool::Kind;
        const QList<std::pair<QString, K>> six{{QStringLiteral("qwen3:latest"), K::ollama}, {QStringLiteral("Qwen3-4B-GGUF"), K::lmStudio},
                                               {QStringLiteral("Qwen3-4B-Q4_K_M"), K::jan}, {QStringLiteral("Qwen3-4B-Q4_K_M"), K::gpt4All},
                                               {QStringLiteral("org/Qwen3-4B-GGUF"), K::huggingFace},
                                               {QStringLiteral("org_Qwen3-4B-GGUF_Qwen3-4B-Q4_K_M"), K::llamaCpp}};
        const QUuid group = groupOf(QStringLiteral("Qwen3-4B-GGUF"), K::lmStudio);
        QVERIFY(!group.isNull());
        for (const auto &[name, kind] : six)
            QCOMPARE(groupOf(name, kind), group);
        QCOMPARE(groupOf(QStringLiteral("org/Misnamed"), K::huggingFace), group);
        QVERIFY(!groupOf(QStringLiteral("first"), K::custom).isNull());
        QCOMPARE(groupOf(QStringLiteral("second"), K::custom), groupOf(QStringLiteral("first"), K::custom));
        for (const QString &alone : {QStringLiteral("linked"), QStringLiteral("early-a"), QStringLiteral("early-b")})
            QCOMPARE(groupOf(alone, K::custom), QUuid());

        // Verification reads: the misnamed blob leaves the six, the pair dissolves.
        QList<QUuid> groups;
        for (const DetectedModel &model : std::as_const(models)) {
            if (model.duplicateGroup && !groups.contains(*model.duplicateGroup))
                groups.append(*model.duplicateGroup);
        }
        for (const QUuid &checked : std::as_const(groups))
            StashwellCore::applyVerification(models, checked, core.verifyGroup(checked, models));
        const QUuid verified = groupOf(QStringLiteral("Qwen3-4B-GGUF"), K::lmStudio);
        QVERIFY(!verified.isNull());
        for (const DetectedModel &model : std::as_const(models)) {
            const bool inSix = six.contains({model.displayName, model.sourceTool.kind()});
            QCOMPARE(model.duplicateGroup == verified, inSix);
            QCOMPARE(model.duplicateVerificationStatus.state() == DuplicateVerificationStatus::State::verified, inSix);
        }
        for (const QString &alone : {QStringLiteral("first"), QStringLiteral("second")})
            QCOMPARE(groupOf(alone, K::custom), QUuid());
        // Five copies can go; the Ollama model's 2-byte config blob is the least of its extras.
        QCOMPARE(ModelSummary::reclaimableSize(models), 5 * size + 2);
    }
};

QTEST_GUILESS_MAIN(TestDuplicateGrouping)
#include "tst_DuplicateGrouping.moc"
