#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// ComfyUI's extra_model_paths.yaml (and ComfyUI Desktop's extra_models_config.yaml):
// sections, each with an optional base_path and model categories whose value lists
// folders, one a line. Read with yaml-cpp; a file that is damaged, nested too deeply or
// of another shape names nothing, and a section of the wrong shape is passed over.
namespace ComfyModelPaths {

// The folders `content` names, resolved as ComfyUI does: base_path with "~" and $NAME
// expanded and taken relative to the file's folder when it is relative, each path joined
// to it; without a base_path, relative paths are taken relative to the file's folder.
// Keys that name no model folder (is_default, custom_nodes) are left out.
QStringList folders(const QByteArray &content, const QString &fileFolder);

} // namespace ComfyModelPaths
