// Verifies the given files as one duplicate group through DuplicateDetector, the way
// the application does, and prints the outcome. With --idle it sets everything up
// but hashes nothing: the baseline for memory measurements.
//
//   stashwell-hash-bench FILE FILE...   exit 0 identical, 1 different, 2 failed or bad usage
//   stashwell-hash-bench --idle FILE...

#include "catalogue/DetectedModel.h"
#include "duplicates/DuplicateDetector.h"

#include <QFile>
#include <QTextStream>
#include <cstdio>

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QFile::decodeName(argv[i]));
    const bool idle = !arguments.isEmpty() && arguments.first() == QStringLiteral("--idle");
    if (idle)
        arguments.removeFirst();
    if (arguments.size() < 2) {
        std::fputs("usage: stashwell-hash-bench [--idle] FILE FILE...\n", stderr);
        return 2;
    }

    const QUuid group = QUuid::createUuid();
    QList<DetectedModel> models;
    for (const QString &path : std::as_const(arguments)) {
        DetectedModel model = DetectedModel::create(path, SourceTool::custom(QStringLiteral("bench")), {path}, 0, distantPast());
        model.duplicateGroup = group;
        models.append(model);
    }

    DuplicateDetector detector;
    QTextStream out(stdout);
    if (idle) {
        out << "idle\n";
        return 0;
    }
    const VerificationOutcome outcome = detector.verifyGroup(group, models);
    switch (outcome.kind) {
    case VerificationOutcomeKind::identical:
        out << "identical\n";
        return 0;
    case VerificationOutcomeKind::different:
        out << "different\n";
        return 1;
    case VerificationOutcomeKind::split:
        out << "split\n";
        return 1;
    case VerificationOutcomeKind::failed:
        out << "failed: " << outcome.message << '\n';
        break;
    }
    return 2;
}
