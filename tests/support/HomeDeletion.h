#pragma once

#include "core/StashwellCore.h"
#include "support/HomeScan.h"
#include "support/TempHome.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

// Moves models of a temporary home to the Trash the two ways a person can: through the
// core's calls the window's "Move to Trash" runs (the scan and the Ollama stores as
// HomeScan finds them), or through the real `stashwell-cli trash --yes`. Either way the
// answer is what the person is shown, in one form: the alert's message followed by one
// line per model that failed, or nothing when every model moved (the terminal's sentence
// for that is checked here and its count kept).
class HomeDeletion
{
public:
    enum class Front { window, terminal };

    // A model as the terminal selects it: its source key ("custom", "ollama", "jan", ...)
    // and its display name; every listed model matching both is taken.
    struct Pick
    {
        QString source;
        QString name;
    };

    HomeDeletion(const TempHome &home, Front front, const QString &cliProgram);
    ~HomeDeletion();

    // Scans the home afresh and gives the models listed, each "Source [name]", in list
    // order: the window's scan runs here (and keeps its models for the next deletion),
    // the terminal's is `scan --json`, as the unprivileged user when asked.
    QStringList listed(bool unprivileged = false);
    // The models of the window's last scan.
    QList<DetectedModel> models() const;
    // The files of the window's last scan's models matching the pick.
    QStringList filesOf(const Pick &pick) const;

    // Deletes every picked model in one deletion, as the unprivileged user when asked.
    // The window deletes from its last scan (made first if there was none), exactly as a
    // person who saw that list and confirmed; the terminal scans and deletes at once.
    QStringList deleteModels(const QList<Pick> &picks, bool unprivileged = false);
    // How many models the last deletion reported as moved.
    int moved() const { return m_moved; }

    // Equal when the messages are equal and the failure lines are the same in any order
    // (their order follows the list's, which depends on the walk); prints both otherwise.
    static bool sameAlert(const QStringList &seen, const QStringList &expected);

    // Hands the whole tree to the unprivileged user (when the tests run as root), so that
    // it may use the home and the home's Trash as its own.
    static void giveToUnprivileged(const QString &root);

private:
    QStringList deleteInWindow(const QList<Pick> &picks, bool unprivileged);
    QStringList deleteInTerminal(const QList<Pick> &picks, bool unprivileged);

    const TempHome &m_home;
    Front m_front;
    HomeScan m_scan;
    QList<DetectedModel> m_models;
    bool m_scanned = false;
    int m_moved = -1;
};
