#include "scanning/InstallationSearch.h"

#include "scanning/DirectoryWalker.h"
#include "scanning/ModelFolderResolver.h"
#include "scanning/ScanRoutines.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <sys/stat.h>

namespace InstallationSearch {

namespace {
using EntryType = DirectoryWalker::EntryType;

// A marker through links, as the application itself would open it; stat() never opens
// the entry, so a pipe under a marker's name cannot block the search.
bool hasMarker(const QString &folder, const InstallationMarker &marker)
{
    return std::any_of(marker.names.begin(), marker.names.end(), [&](const QString &name) {
        struct stat info {};
        if (::stat(QFile::encodeName(folder + u'/' + name).constData(), &info) != 0)
            return false;
        return marker.isFolder ? S_ISDIR(info.st_mode) : S_ISREG(info.st_mode);
    });
}

class Search
{
public:
    Search(const QList<ModelSourceDefinition> &definitions, const QStringList &knownStores)
    {
        for (const ModelSourceDefinition &definition : definitions) {
            if (!definition.installation.entries.isEmpty())
                m_searched.append(&definition);
        }
        for (const QString &store : knownStores) {
            m_knownStores.insert(QDir::cleanPath(store));
            m_knownStores.insert(ScanRoutines::realFolder(store));
        }
    }

    // Looks at the folders directly inside `folder`, which lies depth - 1 levels below home.
    void visit(const QString &folder, int depth)
    {
        if (m_searched.isEmpty())
            return;
        const std::optional<QList<DirectoryWalker::ListedEntry>> entries = DirectoryWalker::list(folder, DirectoryWalker::Listing::foldersAndLinks);
        if (!entries)
            return;
        for (const DirectoryWalker::ListedEntry &entry : *entries) {
            const bool isFolder = entry.type == EntryType::directory;
            if ((!isFolder && entry.type != EntryType::symlink) || m_knownStores.contains(entry.path))
                continue;
            bool installation = false;
            for (const ModelSourceDefinition *definition : std::as_const(m_searched)) {
                if (isInstallation(entry.path, definition->installation)) {
                    add(definition->tool, entry.path);
                    installation = true;
                }
            }
            // Inside an installation everything is its own; a link is only looked through.
            if (!installation && isFolder && depth < searchDepth)
                visit(entry.path, depth + 1);
        }
    }

    // The folders the applications' own settings name.
    void addRecorded(const QList<ModelSourceDefinition> &definitions)
    {
        for (const ModelSourceDefinition &definition : definitions) {
            for (const ModelFolder &record : definition.installation.records) {
                const std::optional<QString> folder = ModelFolderResolver::resolve(record);
                if (folder && QFileInfo(*folder).isDir())
                    add(definition.tool, *folder);
            }
        }
    }

    Installations installations() const { return m_installations; }

private:
    void add(const SourceTool &tool, const QString &folder)
    {
        if (!m_seen[tool].contains(ScanRoutines::realFolder(folder))) {
            m_seen[tool].insert(ScanRoutines::realFolder(folder));
            m_installations[tool].append(folder);
        }
    }

    QList<const ModelSourceDefinition *> m_searched;
    QSet<QString> m_knownStores;
    Installations m_installations;
    QHash<SourceTool, QSet<QString>> m_seen;
};
} // namespace

bool isInstallation(const QString &folder, const InstallationMarkers &markers)
{
    return !markers.entries.isEmpty()
        && std::all_of(markers.entries.begin(), markers.entries.end(),
                       [&](const InstallationMarker &marker) { return hasMarker(folder, marker); });
}

Installations find(const QList<ModelSourceDefinition> &definitions, const QStringList &knownStores)
{
    Search search(definitions, knownStores);
    search.visit(QDir::homePath(), 1);
    search.addRecorded(definitions);
    return search.installations();
}

} // namespace InstallationSearch
