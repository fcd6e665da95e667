#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <QThreadPool>

#include <exception>
#include <functional>
#include <memory>

// Runs work on a thread of `pool` and answers with its future. `work` receives the
// promise so it can publish progress (0 to 1000); an exception it throws reaches
// whoever reads the result.
template<typename Result>
QFuture<Result> runOnPool(QThreadPool &pool, std::function<Result(QPromise<Result> &)> work)
{
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    promise->setProgressRange(0, 1000);
    pool.start([promise, work = std::move(work)] {
        try {
            promise->addResult(work(*promise));
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return future;
}

// Hands a future's result back on the thread of `context` once it is ready. The watcher
// belongs to `context`: when that object is gone, the result is dropped unseen.
template<typename Result>
QFutureWatcher<Result> *whenFinished(QObject *context, QFuture<Result> future, std::function<void(QFuture<Result>)> done)
{
    auto *watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(watcher->future());
    });
    watcher->setFuture(future);
    return watcher;
}
