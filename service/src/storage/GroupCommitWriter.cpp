#include "storage/GroupCommitWriter.h"

#include <algorithm>

namespace rqbservice {

GroupCommitWriter::GroupCommitWriter(const Storage& storage, std::size_t max_batch)
    : storage_(storage), max_batch_(max_batch), thread_([this] { Run(); }) {}

GroupCommitWriter::~GroupCommitWriter() { Stop(); }

void GroupCommitWriter::Stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  queued_.notify_all();
  if (thread_.joinable()) thread_.join();
}

std::int64_t GroupCommitWriter::Write(Reception reception) {
  Pending pending{std::move(reception), {}};
  std::future<std::int64_t> committed = pending.committed.get_future();
  {
    std::lock_guard lock(mutex_);
    if (stopping_) throw DatabaseError("the service is stopping");
    queue_.push_back(&pending);
  }
  queued_.notify_one();
  return committed.get();  // rethrows the writer's error
}

void GroupCommitWriter::Run() {
  std::vector<Pending*> batch;
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      queued_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
      if (queue_.empty()) return;  // stopping, and everything is committed
      const std::size_t take = std::min(queue_.size(), max_batch_);
      batch.assign(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(take));
      queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(take));
    }
    Commit(batch);
    batch.clear();
  }
}

void GroupCommitWriter::Commit(std::vector<Pending*>& batch) {
  // Taken out of the callers' Pending objects: a caller may return, and
  // destroy its Pending, as soon as its promise is fulfilled.
  std::vector<Reception> receptions;
  std::vector<std::promise<std::int64_t>> committed;
  receptions.reserve(batch.size());
  committed.reserve(batch.size());
  for (Pending* pending : batch) {
    receptions.push_back(std::move(pending->reception));
    committed.push_back(std::move(pending->committed));
  }
  try {
    if (!connection_ || !connection_->usable()) connection_ = storage_.OpenWriterConnection();
    Storage::AppendReceptions(*connection_, receptions);
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    for (auto& promise : committed) promise.set_exception(error);
    return;
  }
  for (std::size_t i = 0; i < committed.size(); ++i) committed[i].set_value(receptions[i].id);
}

}  // namespace rqbservice
