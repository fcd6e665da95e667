#include "details/HeaderBytes.h"
#include "details/ModelDescriber.h"
#include "details/ModelFileReader.h"
#include "details/OllamaConfigReader.h"
#include "support/GgufWriter.h"
#include "support/SafetensorsWriter.h"
#include "support/TempHome.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

// What model files say of their models: the GGUF and safetensors readers on headers
// written here, headers that cannot be right, and the scan's step that reads them once.
class TestModelDetails : public QObject
{
    Q_OBJECT

    static std::optional<ModelDetails> read(const QByteArray &file, qint64 cap = HeaderBytes::maximumHeaderSize)
    {
        HeaderBytes bytes(file, cap);
        return ModelFileReader::read(bytes);
    }

    // A small llama: three F32 norms and one Q8_0 matrix (most tensors F32, most parameters Q8_0).
    static GgufWriter llama()
    {
        GgufWriter gguf;
        gguf.vocabulary(300)
            .number("llama.context_length", 131072) // before the architecture names it
            .text("general.architecture", "llama")
            .tensor("norm.0", {64}, GgufWriter::f32)
            .tensor("norm.1", {64}, GgufWriter::f32)
            .tensor("norm.2", {64}, GgufWriter::f32)
            .tensor("attn_q", {64, 32}, GgufWriter::q8_0);
        return gguf;
    }

    static DetectedModel modelOf(const QString &primaryFile, const QString &configFile = {})
    {
        DetectedModel model = DetectedModel::create(u"m"_s, SourceTool::Kind::lmStudio, {primaryFile}, 1, QDateTime());
        model.primaryFile = primaryFile;
        model.configFile = configFile;
        return model;
    }

private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void ggufHeaderInAnyOrder()
    {
        const std::optional<ModelDetails> details =
            read(llama().number("general.file_type", 15).text("general.name", "Llama 3.1 8B").text("general.size_label", "8B").bytes());
        ModelDetails expected;
        expected.architecture = u"llama"_s;
        expected.parameters = 3 * 64 + 64 * 32;
        expected.quantization = u"Q4_K_M"_s;
        expected.contextLength = 131072;
        expected.name = u"Llama 3.1 8B"_s;
        expected.sizeLabel = u"8B"_s;
        QCOMPARE(details, expected);
        QCOMPARE(details->summary(), u"llama \u00b7 2.2K \u00b7 Q4_K_M \u00b7 128K context"_s);

        // One part of a split model holds only some of the tensors: no count for the model.
        QCOMPARE(read(llama().number("split.count", 3).bytes())->parameters, std::nullopt);
        // Another architecture's context length is not this model's.
        QCOMPARE(read(GgufWriter().text("general.architecture", "qwen2").number("llama.context_length", 4096).bytes())->contextLength,
                 std::nullopt);
    }

    void quantizationFromFileTypeElseTensors_data()
    {
        QTest::addColumn<QByteArray>("fileType"); // the value's bytes as stated; empty: no key
        QTest::addColumn<quint32>("valueType");
        QTest::addColumn<QString>("expected");
        const auto u32 = [](quint32 value) { return GgufWriter::u32(value); };
        QTest::newRow("0, first") << u32(0) << 4u << u"F32"_s;
        QTest::newRow("1") << u32(1) << 4u << u"F16"_s;
        QTest::newRow("7") << u32(7) << 4u << u"Q8_0"_s;
        QTest::newRow("15") << u32(15) << 4u << u"Q4_K_M"_s;
        QTest::newRow("32") << u32(32) << 4u << u"BF16"_s;
        QTest::newRow("33, removed but written") << u32(33) << 4u << u"Q4_0_4_4"_s;
        QTest::newRow("40, last") << u32(40) << 4u << u"Q1_0"_s;
        QTest::newRow("4, never in GGUF: the tensors") << u32(4) << 4u << u"Q8_0"_s;
        QTest::newRow("41, unknown: the tensors") << u32(41) << 4u << u"Q8_0"_s;
        QTest::newRow("as a 64-bit number") << GgufWriter::u64(18) << 10u << u"Q6_K"_s;
        QTest::newRow("as text: the tensors") << GgufWriter::string("Q4_K_M") << 8u << u"Q8_0"_s;
        QTest::newRow("no key: the type holding most parameters") << QByteArray() << 4u << u"Q8_0"_s;
    }
    void quantizationFromFileTypeElseTensors()
    {
        QFETCH(QByteArray, fileType);
        QFETCH(quint32, valueType);
        QFETCH(QString, expected);
        GgufWriter gguf = llama();
        if (!fileType.isEmpty())
            gguf.pair("general.file_type", valueType, fileType);
        QCOMPARE(read(gguf.bytes())->quantization, expected);
    }

    void summaryTexts_data()
    {
        QTest::addColumn<qint64>("parameters");
        QTest::addColumn<qint64>("context");
        QTest::addColumn<QString>("expected");
        QTest::newRow("8B, 128K") << 8030261248LL << 131072LL << u"8.0B \u00b7 128K context"_s;
        QTest::newRow("70.6B, 1M") << 70553706496LL << 1048576LL << u"70.6B \u00b7 1M context"_s;
        QTest::newRow("405B, 2,000") << 405000000000LL << 2000LL << u"405B \u00b7 2,000 context"_s;
        QTest::newRow("just under a billion") << 999960000LL << 4096LL << u"1.0B \u00b7 4K context"_s;
        QTest::newRow("494M, 1,000") << 494032768LL << 1000LL << u"494M \u00b7 1,000 context"_s;
        QTest::newRow("999") << 999LL << 0LL << u"999 \u00b7 0 context"_s;
    }
    void summaryTexts()
    {
        QFETCH(qint64, parameters);
        QFETCH(qint64, context);
        QFETCH(QString, expected);
        ModelDetails details;
        details.parameters = parameters;
        details.contextLength = context;
        details.sizeLabel = u"ignored while the count is known"_s;
        QCOMPARE(details.summary(), expected);
    }

    void safetensorsHeader()
    {
        SafetensorsWriter file;
        file.tensor(u"embed"_s, u"BF16"_s, {1000, 64}, 16).metadata({{u"format"_s, u"pt"_s}, {u"modelspec.architecture"_s, u"sdxl"_s}});
        for (int i = 0; i < 5; ++i)
            file.tensor(u"norm.%1"_s.arg(i), u"F32"_s, {64}, 32);
        file.tensor(u"scales"_s, u"F4"_s, {3, 2}, 4); // half a byte each
        const std::optional<ModelDetails> details = read(file.bytes());
        QVERIFY(details);
        QCOMPARE(details->format, ModelDetails::Format::safetensors);
        QCOMPARE(details->parameters, 64000 + 5 * 64 + 6);
        QCOMPARE(details->quantization, u"BF16"_s);
        QCOMPARE(details->architecture, u"sdxl"_s);
    }

    void headersThatCannotBeRightGiveNothing_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<qint64>("cap");
        const qint64 noCap = HeaderBytes::maximumHeaderSize;
        const auto u32 = &GgufWriter::u32;
        const auto u64 = &GgufWriter::u64;
        const QByteArray good = llama().bytes();
        QTest::newRow("truncated header") << good.first(good.size() / 2) << noCap;
        QTest::newRow("past the cap") << good << qint64(good.size() / 2);
        QTest::newRow("string of 2^62") << llama().pair("general.name", 8, u64(1ULL << 62) + "x").bytes() << noCap;
        QTest::newRow("2^62 strings") << llama().pair("t", 9, u32(8) + u64(1ULL << 62)).bytes() << noCap;
        QTest::newRow("2^62 numbers") << llama().pair("t", 9, u32(5) + u64(1ULL << 62)).bytes() << noCap;
        GgufWriter manyKeys = llama();
        manyKeys.statedPairs = 1ULL << 40;
        QTest::newRow("2^40 keys") << manyKeys.bytes() << noCap;
        QTest::newRow("unknown value type") << llama().pair("t", 13, u64(0)).bytes() << noCap;
        QTest::newRow("nested arrays") << llama().pair("t", 9, u32(9) + u64(1) + u32(5) + u64(1) + u32(0)).bytes() << noCap;
        GgufWriter first = llama();
        first.version = 1;
        QTest::newRow("version 1") << first.bytes() << noCap;
        QTest::newRow("data past the end") << good.chopped(1) << noCap;
        QTest::newRow("five dimensions") << llama().tensor("t", {1, 1, 1, 1, 1}, GgufWriter::f32).bytes() << noCap;
        QTest::newRow("elements overflow") << GgufWriter().tensor("t", {1ULL << 32, 1ULL << 32}, GgufWriter::f32).bytes() << noCap;
        QTest::newRow("rows not whole blocks") << GgufWriter().tensor("t", {33}, GgufWriter::q8_0).bytes() << noCap;
        QTest::newRow("architecture twice") << llama().text("general.architecture", "qwen2").bytes() << noCap;

        const QByteArray tensor = R"({"w":{"dtype":"F16","shape":[2,3],"data_offsets":[0,12]}})";
        QTest::newRow("safetensors, header of 2^50") << u64(1ULL << 50) + tensor << noCap;
        QTest::newRow("safetensors, header past the end") << u64(500) + tensor << noCap;
        QTest::newRow("safetensors, not an object") << SafetensorsWriter::withHeader("[{}]", 12) << noCap;
        QTest::newRow("safetensors, not JSON") << SafetensorsWriter::withHeader("{oops", 12) << noCap;
        QTest::newRow("safetensors, data past the end") << SafetensorsWriter::withHeader(tensor, 11) << noCap;
        QTest::newRow("safetensors, offsets not the shape") << SafetensorsWriter::withHeader(QByteArray(tensor).replace("12]", "10]"), 12) << noCap;
        QTest::newRow("safetensors, shape overflow")
            << SafetensorsWriter::withHeader(QByteArray(tensor).replace("[2,3]", "[4294967296,4294967296,4]"), 12) << noCap;
        QTest::newRow("safetensors, unknown dtype") << SafetensorsWriter::withHeader(QByteArray(tensor).replace("F16", "Q4"), 12) << noCap;
        QTest::newRow("safetensors, no tensors") << SafetensorsWriter::withHeader(R"({"__metadata__":{}})") << noCap;
    }
    void headersThatCannotBeRightGiveNothing()
    {
        QFETCH(QByteArray, file);
        QFETCH(qint64, cap);
        QCOMPARE(read(file, cap), std::nullopt);
    }

    void filesThatMustNotBeReadAreNot()
    {
        TempHome home;
        // A FIFO named like a model: opening it for reading would wait for a writer forever.
        const QString fifo = home.filePath(u"model.gguf"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        QCOMPARE(ModelFileReader::read(fifo), std::nullopt);
        // A config blob of 10 MB is no config, and is not read.
        QByteArray config = R"({"model_family":"llama"})";
        QCOMPARE(OllamaConfigReader::decode(config)->architecture, u"llama"_s);
        QCOMPARE(OllamaConfigReader::read(home.writeFile(u"blob"_s, config + QByteArray(10'000'000, ' '))), std::nullopt);
        // A string longer than 64 MiB in a sparse file: the read stops at the cap.
        const QString huge = llama().pair("general.name", 8, GgufWriter::u64(65ULL << 20)).write(home, u"huge.gguf"_s, 70LL << 20);
        QFile file(huge);
        QVERIFY(file.open(QIODevice::ReadOnly));
        HeaderBytes bytes(int(file.handle()), file.size());
        QCOMPARE(ModelFileReader::read(bytes), std::nullopt);
        QVERIFY(bytes.furthestRead() <= HeaderBytes::maximumHeaderSize);
    }

    void describedOnceThenFromTheCache()
    {
        TempHome home;
        const QString cache = home.filePath(u".cache/Stashwell/details.cache"_s);
        const QString gguf = llama().number("general.file_type", 7).write(home, u"llama.gguf"_s);
        // Ollama: the config says one quantization, the weights' header another; the header wins.
        const QString config = home.writeFile(u"blobs/sha256-c"_s, R"({"model_family":"llama","model_type":"8.0B","file_type":"Q4_0"})");
        const QString blob = llama().number("general.file_type", 15).write(home, u"blobs/sha256-w"_s);
        const QString hostile = home.writeFile(u"bad.gguf"_s, llama().bytes().chopped(1));
        QList<DetectedModel> models{modelOf(gguf), modelOf(blob, config), modelOf(hostile)};
        DetectedModel leftover = modelOf(gguf);
        leftover.leftover = LeftoverKind::partialDownload;
        models.append(leftover);

        QCOMPARE(ModelDescriber(cache).describe(models), 4);
        QCOMPARE(models[0].details->quantization, u"Q8_0"_s);
        QCOMPARE(models[1].details->format, ModelDetails::Format::ollama);
        QCOMPARE(models[1].details->quantization, u"Q4_K_M"_s);
        QCOMPARE(models[1].details->sizeLabel, u"8.0B"_s);
        QCOMPARE(models[1].details->contextLength, std::optional<qint64>(131072));
        QCOMPARE(models[2].details, std::nullopt);
        QCOMPARE(models[3].details, std::nullopt);
        const QList<DetectedModel> described = models;

        // Nothing changed: no file opened, the same details, the hostile file included.
        QCOMPARE(ModelDescriber(cache).describe(models), 0);
        for (qsizetype i = 0; i < models.size(); ++i)
            QCOMPARE(models[i].details, described[i].details);
        // A file rewritten is read again; a damaged cache is read as empty.
        llama().number("general.file_type", 32).write(home, u"llama.gguf"_s);
        QCOMPARE(ModelDescriber(cache).describe(models), 1);
        QCOMPARE(models[0].details->quantization, u"BF16"_s);
        QVERIFY(QFile::resize(cache, QFileInfo(cache).size() - 3)); // cut short in its last entry
        QCOMPARE(ModelDescriber(cache).describe(models), 4);
        QCOMPARE(ModelDescriber(cache).describe(models), 0);
    }
};

QTEST_GUILESS_MAIN(TestModelDetails)
#include "tst_ModelDetails.moc"
