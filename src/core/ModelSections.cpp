#include "core/ModelSections.h"

#include <QCollator>
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

    // The C locale has no collation rules (and no numeric ordering); sort as English then.
    const QLocale locale = QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(sources.begin(), sources.end(), [&](const ModelSection &a, const ModelSection &b) {
        const bool aCustom = a.source.isCustom(), bCustom = b.source.isCustom();
        if (aCustom != bCustom)
            return !aCustom;
        if (!aCustom)
            return SourceTool::builtInKinds().indexOf(a.source.kind())
                < SourceTool::builtInKinds().indexOf(b.source.kind());
        return collator.compare(a.title, b.title) < 0;
    });

    QList<ModelSection> sections;
    for (const ModelSection &attention : {orphans, leftovers}) {
        if (!attention.modelRows.isEmpty())
            sections.append(attention);
    }
    sections += sources;
    return sections;
}
