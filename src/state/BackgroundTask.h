#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <QThreadPool>

#include <exception>
#include <functional>
#include <memory>

// Runs work on a pool thread and hands its result back on the thread of `context`.
// The watcher belongs to `context`: when that object is gone, the result is dropped
// unseen. `work` receives the promise so it can publish progress (0 to 1000).
template<typename Result>
QFutureWatcher<Result> *runInBackground(QObject *context, std::function<Result(QPromise<Result> &)> work,
                                        std::function<void(QFuture<Result>)> done)
{
    auto promise = std::make_shared<QPromise<Result>>();
    auto *watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(watcher->future());
    });
    watcher->setFuture(promise->future());
    promise->start();
    promise->setProgressRange(0, 1000);
    QThreadPool::globalInstance()->start([promise, work = std::move(work)] {
        try {
            promise->addResult(work(*promise));
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return watcher;
}
