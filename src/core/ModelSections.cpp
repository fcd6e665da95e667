#include "core/ModelSections.h"

#include <QHash>

QList<ModelSection> ModelSection::build(const QList<DetectedModel> &models)
{
    ModelSection orphans;
    orphans.isOrphans = true;
    orphans.title = orphansTitle();
    ModelSection leftovers;
    leftovers.isLeftovers = true;
    leftovers.title = leftoversTitle();

    QHash<SourceTool, qsizetype> indexOfSource;
    QList<ModelSection> sources;
    for (qsizetype row = 0; row < models.size(); ++row) {
        const DetectedModel &model = models[row];
        ModelSection *section = model.isLeftover() ? &leftovers : &orphans;
        if (!model.isOrphaned && !model.isLeftover()) {
            auto found = indexOfSource.constFind(model.sourceTool);
            if (found == indexOfSource.constEnd()) {
                found = indexOfSource.insert(model.sourceTool, sources.size());
                ModelSection created;
                created.source = model.sourceTool;
                created.title = model.sourceTool.description();
                sources.append(created);
            }
            section = &sources[*found];
        }
        section->modelRows.append(row);
        section->totalSize = addSizes(section->totalSize, model.sizeBytes);
    }

    const QCollator names = nameCollator();
    std::stable_sort(sources.begin(), sources.end(), [&](const ModelSection &a, const ModelSection &b) {
        return sourceComesBefore(a.source, b.source, names);
    });

    QList<ModelSection> sections;
    for (const ModelSection &attention : {orphans, leftovers}) {
        if (!attention.modelRows.isEmpty())
            sections.append(attention);
    }
    sections += sources;
    return sections;
}

QCollator ModelSection::nameCollator()
{
    // The C locale has no collation rules (and no numeric ordering); sort as English then.
    const QLocale locale = QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

bool ModelSection::sourceComesBefore(const SourceTool &a, const SourceTool &b, const QCollator &names)
{
    if (a.isCustom() != b.isCustom())
        return !a.isCustom();
    if (!a.isCustom())
        return SourceTool::builtInKinds().indexOf(a.kind()) < SourceTool::builtInKinds().indexOf(b.kind());
    return names.compare(a.description(), b.description()) < 0;
}
