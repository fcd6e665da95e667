// Any bytes as ComfyUI's extra_model_paths.yaml, a web UI's webui-user.sh or a flags file:
// the readers never crash or hang, every folder the YAML names is a clean absolute path,
// and the words split from any text split back the same once quoted again.
#include "FuzzCheck.h"
#include "FuzzTempDir.h"

#include "scanning/ComfyModelPaths.h"
#include "scanning/LaunchArguments.h"

#include <QDir>

#include <cstddef>
#include <cstdint>

namespace {
// Each word in single quotes, a quote inside written as '\''.
QString quoted(const QStringList &words)
{
    QStringList parts;
    for (QString word : words)
        parts.append(u'\'' + word.replace(u'\'', QStringLiteral("'\\''")) + u'\'');
    return parts.join(u' ');
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzTempDir::instance(); // "~" and $HOME lead into the scratch folder
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const QString &folder : ComfyModelPaths::folders(bytes, QStringLiteral("/comfy")))
        require(QDir::isAbsolutePath(folder) && folder == QDir::cleanPath(folder), "a YAML folder is a clean absolute path");

    const QString text = QString::fromUtf8(bytes);
    if (const std::optional<QStringList> words = LaunchArguments::assignedInScript(text, QStringLiteral("COMMANDLINE_ARGS")))
        LaunchArguments::optionValue(*words, QStringLiteral("--ckpt-dir"));
    if (const std::optional<QStringList> words = LaunchArguments::inFlagsFile(text))
        LaunchArguments::optionValue(*words, QStringLiteral("--model-dir"));
    if (const std::optional<QStringList> words = LaunchArguments::splitWords(text))
        require(LaunchArguments::splitWords(quoted(*words)) == words, "quoted words split back the same");
    return 0;
}
