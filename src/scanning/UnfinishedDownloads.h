#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"
#include "scanning/DirectoryWalker.h"

#include <QHash>
#include <QList>

// Gathers, during one walk of a model folder, the downloads an application has not
// finished: each one leftover entry with its companion files, sized by the space they
// take on disk (a download in progress is often a sparse file as large as the model).
class UnfinishedDownloads
{
public:
    UnfinishedDownloads(const QList<UnfinishedDownloadNames> &names, const SourceTool &source)
        : m_names(names), m_source(source) {}

    // True when the entry is an unfinished download or one of its companions, so the
    // walk leaves it out of every model. Only regular files are taken as downloads; any
    // other entry with such a name (a pipe, a link) is passed over and never opened.
    // `displayName` names what is being downloaded.
    bool take(const DirectoryWalker::Entry &entry, const QString &displayName);

    // The leftovers in the order the walk met them.
    QList<DetectedModel> leftovers() const { return m_leftovers; }

    // A file named like an unfinished download (what take() recognises, whatever its type).
    static bool isDownloadName(QByteArrayView name, const UnfinishedDownloadNames &names);
    bool isDownloadName(QByteArrayView name) const;

private:
    bool takeCompanion(const DirectoryWalker::Entry &entry, const UnfinishedDownloadNames &names,
                       const QString &displayName);
    void add(const DirectoryWalker::Entry &entry, const QByteArray &downloadPath, const QString &displayName);

    QList<UnfinishedDownloadNames> m_names;
    SourceTool m_source;
    QList<DetectedModel> m_leftovers;
    QHash<QByteArray, qsizetype> m_indexOfDownload; // native path of the download -> entry
};
