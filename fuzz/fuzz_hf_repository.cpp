// A Hugging Face cache repository written from the input, one line per item:
//   "b NAME" a blob, "f REV/PATH" a file a snapshot holds, "l REV/PATH TARGET" a snapshot
//   link to any target, "r NAME CONTENT" a ref.
// Every revision no ref names is old only when every ref names a revision that is there
// (and there is more than one);
// an old revision takes exactly the blobs no other revision links; the entries the scan
// makes count every finished file once, and name nothing outside the repository.
#include "FuzzCheck.h"
#include "FuzzTempDir.h"

#include "scanning/HuggingFaceCacheScanner.h"
#include "scanning/HuggingFaceRepository.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cstddef>
#include <cstdint>
#include <sys/stat.h>

namespace {
// Up to three components of letters, digits, "-" and "_", so every item stays in the repository.
QString safePath(const QByteArray &raw)
{
    QStringList parts;
    for (const QByteArray &part : raw.split('/')) {
        QString clean;
        for (const char c : part) {
            if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_')
                clean += QLatin1Char(c);
        }
        if (!clean.isEmpty() && parts.size() < 3)
            parts << clean.left(12);
    }
    return parts.join(QLatin1Char('/'));
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// True when no folder on the way below the repository is a link, so writing there stays inside it.
bool insideRealFolders(const QString &repo, const QString &relative)
{
    QString path = repo;
    for (const QString &part : relative.split(u'/').first(relative.count(u'/'))) {
        path += QLatin1Char('/') + part;
        if (QFileInfo(path).isSymLink() || (QFileInfo::exists(path) && !QFileInfo(path).isDir()))
            return false;
    }
    return true;
}

bool isRegular(const QString &path)
{
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

qint64 sizesBelow(const QString &folder)
{
    qint64 total = 0;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (isRegular(path) && !path.endsWith(QLatin1String(".incomplete")))
            total += QFileInfo(path).size();
    }
    return total;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString cache = FuzzTempDir::instance().filePath(QStringLiteral("hub"));
    const QString repo = cache + QStringLiteral("/models--o--r");
    QDir(cache).removeRecursively();
    QDir().mkpath(repo + QStringLiteral("/snapshots"));
    QHash<QString, QStringList> linksByRevision; // revision -> its links
    const QList<QByteArray> lines = QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)).split('\n');
    for (const QByteArray &line : lines.first(std::min<qsizetype>(lines.size(), 24))) {
        const QList<QByteArray> words = line.split(' ');
        const QString path = safePath(words.value(1));
        if (line.size() < 3 || path.isEmpty() || !insideRealFolders(repo, QStringLiteral("snapshots/") + path))
            continue;
        if (line[0] == 'b') {
            writeFile(repo + QStringLiteral("/blobs/") + path.section(u'/', 0, 0), path.toUtf8());
        } else if (line[0] == 'f' && path.contains(u'/')) {
            writeFile(repo + QStringLiteral("/snapshots/") + path, path.toUtf8());
        } else if (line[0] == 'r') {
            writeFile(repo + QStringLiteral("/refs/") + path, line.mid(3 + words.value(1).size()));
        } else if (line[0] == 'l' && path.contains(u'/')) {
            const QString link = repo + QStringLiteral("/snapshots/") + path;
            QDir().mkpath(QFileInfo(link).path());
            if (QFile::link(QString::fromUtf8(words.value(2)), link))
                linksByRevision[path.section(u'/', 0, 0)].append(link);
        }
    }

    const HuggingFaceRepository repository = HuggingFaceRepository::read(repo, {}, true);
    // The rule, worked out again from what was written.
    QStringList revisions;
    for (const HuggingFaceRepository::Revision &revision : repository.revisions())
        revisions << revision.name;
    bool refsName = false, anyUnreadable = false;
    QSet<QString> named;
    QDirIterator refFiles(repo + QStringLiteral("/refs"), QDir::Files, QDirIterator::Subdirectories);
    while (refFiles.hasNext()) {
        QFile ref(refFiles.next());
        const QByteArray content = ref.open(QIODevice::ReadOnly) ? ref.readAll() : QByteArray();
        const QString commit = QString::fromUtf8(content).trimmed();
        anyUnreadable = anyUnreadable || content.size() > 256 || !revisions.contains(commit);
        refsName = true;
        named.insert(commit);
    }
    // A lone revision is the current one, whatever the refs say.
    refsName = refsName && !anyUnreadable && revisions.size() > 1;
    require(repository.refsNameRevisions() == refsName, "refs tell old revisions apart exactly when each names one");
    const QString realBlobs = QFileInfo(repo + QStringLiteral("/blobs")).canonicalFilePath();
    QHash<QString, QSet<QString>> linkedBy; // blob -> revisions linking it
    for (auto it = linksByRevision.cbegin(); it != linksByRevision.cend(); ++it) {
        for (const QString &link : it.value()) {
            const QFileInfo target(QFileInfo(link).symLinkTarget());
            if (!realBlobs.isEmpty() && target.canonicalPath() == realBlobs && isRegular(target.filePath()))
                linkedBy[target.fileName()].insert(it.key());
        }
    }
    for (const HuggingFaceRepository::Revision &revision : repository.revisions()) {
        require(revision.named == (!refsName || named.contains(revision.name)), "a revision is old exactly when no ref names it");
        QSet<QString> only;
        for (auto it = linkedBy.cbegin(); it != linkedBy.cend(); ++it) {
            if (it.value() == QSet<QString>{revision.name})
                only.insert(it.key());
        }
        QSet<QString> taken;
        for (const QByteArray &blob : repository.blobsOnlyUsedBy(revision))
            taken.insert(QString::fromUtf8(blob));
        require(taken == only, "a revision takes exactly the blobs no other revision links");
    }

    qint64 counted = 0;
    for (const DetectedModel &entry : HuggingFaceCacheScanner::scan(cache, {{.suffix = QStringLiteral(".incomplete")}}, SourceTool::Kind::huggingFace)) {
        counted += entry.sizeBytes;
        for (const QString &path : entry.filePaths)
            require(path == repo || path.startsWith(repo + QLatin1Char('/')), "an entry names nothing outside its repository");
        require(entry.leftover != LeftoverKind::oldRevision || refsName, "no old revision without refs naming the others");
    }
    require(counted == sizesBelow(repo + QStringLiteral("/blobs")) + sizesBelow(repo + QStringLiteral("/snapshots")),
            "every finished file counts once");
    return 0;
}
