#pragma once

#include "catalogue/DetectedModel.h"
#include "catalogue/ModelSourceDefinition.h"
#include "scanning/DirectoryWalker.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

class UnfinishedDownloads;

// The walks that every scanner is built from. They only list folders and read
// file attributes; they never open, write, move or delete a file, and they never
// report errors: what cannot be read simply yields fewer models.
namespace ScanRoutines {

// True when anything exists at the path (a link at the end is followed).
bool rootExists(const QString &path);

// The absolute path of a folder inside the current user's home folder.
QString homePath(const QString &relative);

// One model per regular, non-hidden file below root whose lower-cased extension is
// one of extensions (given in lower case), named after the file without its extension.
// The parts of a split GGUF file (name-00001-of-00003.gguf, ...) in one folder are one
// model named "name", which says which parts are missing. A regular file named like a
// model file plus one of sidecarSuffixes belongs to that model. Unfinished downloads
// follow the models as leftovers, each named after its file. Only the subfolders `enter`
// accepts are walked (all of them when it is empty).
QList<DetectedModel> scanModelFiles(const QString &root, const QStringList &extensions,
                                    const SourceTool &source, const QStringList &sidecarSuffixes = {},
                                    const QList<UnfinishedDownloadNames> &unfinished = {},
                                    const DirectoryWalker::FolderFilter &enter = {});

// A file name of one part of a split GGUF model, as llama.cpp's gguf-split writes them:
// "<prefix>-<index>-of-<count>.gguf", both numbers five digits, index 1 to count, count
// at least 2 (the extension in any case).
struct SplitPart
{
    QByteArray prefix;
    int index = 0;
    int count = 0;
    static std::optional<SplitPart> parse(QByteArrayView fileName);
};

// One model per folder exactly two levels below root (publisher, then model) that
// holds at least one regular file at any depth. Unfinished downloads follow the models
// as leftovers, each named after its model folder; a folder holding nothing else is no model.
QList<DetectedModel> scanModelTree(const QString &root, const SourceTool &source,
                                   const QList<UnfinishedDownloadNames> &unfinished = {});

// One model covering every regular file below directory, or nothing when there is none.
// Files `downloads` takes as unfinished downloads are left to it.
std::optional<DetectedModel> makeDirectoryModel(const QString &directory, const SourceTool &source,
                                                UnfinishedDownloads *downloads = nullptr);

// One model per folder below root that directly holds non-folder entries (links and
// special files count too); entries directly in root belong to no model. Folders
// come in the order the walk first meets them. Unfinished downloads follow the models as
// leftovers, each named after the folder it lies in.
QList<DetectedModel> scanFilesGroupedByFolder(const QString &root, const SourceTool &source,
                                              const QList<UnfinishedDownloadNames> &unfinished = {});

// One model per folder directly in root, covering every regular file below it, and one
// per regular file directly in root with an accepted extension, named after the file
// without it; in byte order of their names.
QList<DetectedModel> scanModelEntries(const QString &root, const QStringList &extensions, const SourceTool &source);

// Adds a walked file to model: bytes to its size, its date when later, its path, and a
// regular file as the primary one when it is the largest so far. A file whose name is not
// text makes the whole model unmovable, as moving the rest would split it.
void addWalkedFile(DetectedModel &model, const DirectoryWalker::Entry &file, const FileAttributes &attributes,
                   qint64 bytes);

// Roots that lead to the same real folder are walked once: keeps the first of each.
QStringList distinctRoots(const QStringList &roots);

// The roots not inside another of them (by their real folders), for walks that find
// every file at any depth: the walk of the outer one finds the inner one's files. A
// root below a hidden folder of another stays, as the walk never enters that.
QStringList outermostRoots(const QStringList &roots);

// The real folder a path leads to, or the clean path when it leads nowhere.
QString realFolder(const QString &path);
// Whether a walk of the folder `outer` reaches the folder `inner` (both real folders):
// it is the same folder or lies below it, past no hidden folder.
bool reaches(const QString &outer, const QString &inner);

} // namespace ScanRoutines
