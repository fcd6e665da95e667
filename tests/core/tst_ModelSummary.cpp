#include "core/DuplicateCopies.h"
#include "core/ModelSections.h"
#include "core/ModelSummary.h"

#include <QTest>

namespace {
DetectedModel model(const QString &name, const SourceTool &source, qint64 size, bool orphaned = false,
                    std::optional<QUuid> group = std::nullopt)
{
    DetectedModel m = DetectedModel::create(name, source, {QStringLiteral("/m/") + name}, size, distantPast());
    m.isOrphaned = orphaned;
    m.duplicateGroup = group;
    return m;
}
} // namespace

class TestModelSummary : public QObject
{
    Q_OBJECT
private slots:
    void reclaimableKeepsTheLargestOfEachGroupAndCountsOrphans()
    {
        using K = SourceTool::Kind;
        QVERIFY(ModelSummary::reclaimableSize({}) == 0 && ModelSummary::totalSize({}) == 0);
        const QUuid g1 = QUuid::createUuid(), g2 = QUuid::createUuid();
        const QList<DetectedModel> models{
            model(QStringLiteral("a"), K::ollama, 5, false, g1), model(QStringLiteral("b"), K::jan, 5, false, g1),
            model(QStringLiteral("c"), K::jan, 3, false, g1),
            // An orphan that is also a member of a group counts once, in full; the group
            // keeps its largest copy whose application is there.
            model(QStringLiteral("d"), K::lmStudio, 10, false, g2), model(QStringLiteral("e"), K::gpt4All, 4, true, g2),
            model(QStringLiteral("f"), K::omlx, 100),
        };
        QCOMPARE(ModelSummary::totalSize(models), 127);
        QCOMPARE(ModelSummary::reclaimableSize(models), 8 + 4);

        // Two sparse files of 5 EB each (or manifests claiming as much) add up past 2^63.
        const QList<DetectedModel> huge{model(QStringLiteral("a"), K::jan, 5'000'000'000'000'000'000, true, g1),
                                        model(QStringLiteral("b"), K::jan, 5'000'000'000'000'000'000, true, g1)};
        QCOMPARE(ModelSummary::totalSize(huge), std::numeric_limits<qint64>::max());
        QCOMPARE(ModelSummary::reclaimableSize(huge), std::numeric_limits<qint64>::max());
        QCOMPARE(ModelSection::build(huge).first().totalSize, std::numeric_limits<qint64>::max());
    }

    void sectionsFollowTheWindowOrder()
    {
        using K = SourceTool::Kind;
        const QList<DetectedModel> models{
            model(QStringLiteral("c1"), SourceTool::custom(QStringLiteral("Models 10")), 1),
            model(QStringLiteral("d1"), K::drawThings, 1),
            model(QStringLiteral("c2"), SourceTool::custom(QStringLiteral("ollama")), 1),
            model(QStringLiteral("o1"), K::ollama, 2, true),
            model(QStringLiteral("c3"), SourceTool::custom(QStringLiteral("Models 9")), 1),
            model(QStringLiteral("l1"), K::lmStudio, 1),
            model(QStringLiteral("o2"), K::ollama, 3),
            model(QStringLiteral("l2"), K::lmStudio, 4),
            model(QStringLiteral("h1"), K::huggingFace, 1),
            model(QStringLiteral("h2"), K::llamaCpp, 1),
        };
        const QList<ModelSection> sections = ModelSection::build(models);
        QStringList titles;
        for (const ModelSection &section : sections)
            titles << section.title;
        QCOMPARE(titles, (QStringList{QStringLiteral("Orphaned Models"), QStringLiteral("Ollama"), QStringLiteral("LM Studio"),
                                      QStringLiteral("Draw Things"), QStringLiteral("Hugging Face"), QStringLiteral("llama.cpp"),
                                      QStringLiteral("Models 9"), QStringLiteral("Models 10"), QStringLiteral("ollama")}));
        QCOMPARE(sections[2].modelRows, (QList<qsizetype>{5, 7}));
        QCOMPARE(sections[2].totalSize, 5);
        QVERIFY(sections[0].isOrphans && !sections[1].isOrphans);

        const QList<ModelSection> orphansOnly = ModelSection::build({model(QStringLiteral("x"), K::jan, 1, true)});
        QCOMPARE(orphansOnly.size(), 1);
        QVERIFY(orphansOnly[0].isOrphans);
    }

    // Where a group's other copies are, what a selection leaves of it, and what keeping one
    // moves: only the others of a verified group.
    void copiesOfAGroup()
    {
        using K = SourceTool::Kind;
        const QUuid group = QUuid::createUuid();
        QList<DetectedModel> models{model(QStringLiteral("a"), K::lmStudio, 5, false, group), model(QStringLiteral("b"), K::jan, 5, false, group),
                                    model(QStringLiteral("c"), K::huggingFace, 5, false, group), model(QStringLiteral("d"), K::jan, 5)};
        const DuplicateCopies likely(models);
        QCOMPARE(likely.alsoIn(models[1]), QStringLiteral("Also in LM Studio, Hugging Face"));
        QCOMPARE(likely.alsoIn(models[3]), QString());
        QVERIFY(likely.copiesBesides(models[0]).isEmpty()); // not verified yet
        const QList<DuplicateCopies::Note> some = likely.selectionNotes({models[1], models[2], models[3]});
        QCOMPARE(some.size(), 1);
        QCOMPARE(some.first().text, QStringLiteral("Left on disk: a in LM Studio."));
        QVERIFY(!some.first().everyCopy);
        const QList<DuplicateCopies::Note> all = likely.selectionNotes(models);
        QCOMPARE(all.size(), 1);
        QVERIFY(all.first().everyCopy && all.first().text.contains(QLatin1String("Every copy of a")));

        for (const int i : {0, 1, 2})
            models[i].duplicateVerificationStatus = DuplicateVerificationStatus::verified();
        const QList<DetectedModel> moved = DuplicateCopies(models).copiesBesides(models[1]);
        QCOMPARE(moved.size(), 2);
        QVERIFY(moved[0].id == models[0].id && moved[1].id == models[2].id);
    }
};

QTEST_GUILESS_MAIN(TestModelSummary)
#include "tst_ModelSummary.moc"
