#pragma once

#include "catalogue/DetectedModel.h"
#include "scanning/AppDetectionService.h"
#include "scanning/CustomFolderScanner.h"
#include "scanning/InstallationSearch.h"
#include "scanning/OllamaScanner.h"
#include "scanning/ScanResult.h"
#include "preferences/PersistenceService.h"

// One complete scan: every application's models, orphans marked, the user's folders
// added, likely duplicates grouped. Built afresh for each scan and used once; it runs
// on a background thread and shares nothing with anyone.
class ModelScanner
{
public:
    explicit ModelScanner(AppDetectionService appDetection = AppDetectionService(),
                          OllamaScanner ollama = OllamaScanner());

    // The models together with what the scan learned about each source. The built-in
    // applications are scanned in table order, each looked for once, after all scans.
    ScanResult scan() const;
    QList<DetectedModel> scanAll() const { return scan().models; }

    // The model folders Stashwell knows that exist but cannot be read, so the scan
    // is limited (for example the system Ollama service's store).
    QStringList unreadableModelFolders() const;
    // Every folder the built-in sources are looked for in, whether or not it exists.
    QStringList knownModelFolders() const;

private:
    static QStringList unreadableAmong(const QStringList &folders);
    // Every built-in source's roots in table order, the installations found on the way.
    QList<QStringList> rootsOfEverySource(const QStringList &customFolders, Installations &installations) const;
    // Takes from the roots of every application with installations (rootsOf, in table
    // order) those another source's walk reaches, or that an earlier source walks too: a
    // folder shared between two applications (ComfyUI reading a web UI's models through
    // its YAML, a web UI pointed at ComfyUI's checkpoints) is listed once, so one file
    // never shows as two models.
    static void leaveSharedFolders(QList<QStringList> &rootsOf);

    OllamaScanner ollamaScanner;
    CustomFolderScanner customFolderScanner;
    AppDetectionService appDetectionService;
    PersistenceService persistenceService;
};
