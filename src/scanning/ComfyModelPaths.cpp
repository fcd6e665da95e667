#include "scanning/ComfyModelPaths.h"

#include <QDir>
#include <QRegularExpression>

#include <optional>
#include <yaml-cpp/yaml.h>

namespace ComfyModelPaths {

namespace {
std::optional<QString> scalar(const YAML::Node &node)
{
    if (!node.IsScalar())
        return std::nullopt;
    return QString::fromStdString(node.Scalar());
}

// Python's os.path.expanduser, then os.path.expandvars, which ComfyUI applies to
// base_path: a leading "~", then $NAME and ${NAME} that are set; the rest stays as written.
QString expandHomeAndVariables(QString path)
{
    if (path == u'~' || path.startsWith(QStringLiteral("~/")))
        path = QDir::homePath() + path.sliced(1);
    static const QRegularExpression variable(QStringLiteral("\\$(?:(\\w+)|\\{(\\w+)\\})"));
    QString expanded;
    qsizetype copied = 0;
    for (const QRegularExpressionMatch &match : variable.globalMatch(path)) {
        const QString name = match.captured(1).isEmpty() ? match.captured(2) : match.captured(1);
        const QByteArray native = name.toUtf8();
        if (!qEnvironmentVariableIsSet(native.constData()))
            continue;
        expanded += QStringView(path).sliced(copied, match.capturedStart() - copied);
        expanded += qEnvironmentVariable(native.constData());
        copied = match.capturedEnd();
    }
    expanded += QStringView(path).sliced(copied);
    return expanded;
}

QString inFolder(const QString &folder, const QString &path)
{
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path : folder + u'/' + path);
}

bool namesNoModelFolder(const QString &key)
{
    return key == u"base_path" || key == u"is_default" || key == u"custom_nodes";
}

// The folders of one section, or nothing when its base_path is not text.
QStringList sectionFolders(const YAML::Node &section, const QString &fileFolder)
{
    std::optional<QString> base;
    for (const auto &entry : section) {
        if (scalar(entry.first) != u"base_path")
            continue;
        base = scalar(entry.second);
        if (!base)
            return {};
        *base = inFolder(fileFolder, expandHomeAndVariables(*base));
    }
    QStringList folders;
    for (const auto &entry : section) {
        const std::optional<QString> key = scalar(entry.first);
        const std::optional<QString> value = scalar(entry.second);
        if (!key || namesNoModelFolder(*key) || !value)
            continue;
        for (const QString &path : value->split(u'\n', Qt::SkipEmptyParts))
            folders.append(inFolder(base.value_or(fileFolder), path));
    }
    return folders;
}
} // namespace

QStringList folders(const QByteArray &content, const QString &fileFolder)
{
    QStringList found;
    try {
        // yaml-cpp refuses nesting beyond its depth guard with an exception, and aliases
        // share one node, so a file of anchors cannot grow here: only two levels are read.
        const YAML::Node root = YAML::Load(content.toStdString());
        if (!root.IsMap())
            return {};
        for (const auto &section : root) {
            if (section.second.IsMap())
                found += sectionFolders(section.second, fileFolder);
        }
    } catch (...) {
        return {}; // damaged: yaml-cpp's parser and accessors report everything by throwing
    }
    return found;
}

} // namespace ComfyModelPaths
