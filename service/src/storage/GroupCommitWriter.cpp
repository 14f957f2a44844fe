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
  Pending pending{std::move(reception), false, nullptr};
  std::unique_lock lock(mutex_);
  if (stopping_) throw DatabaseError("the service is stopping");
  queue_.push_back(&pending);
  queued_.notify_one();
  committed_.wait(lock, [&] { return pending.done; });
  if (pending.error) std::rethrow_exception(pending.error);
  return pending.reception.id;
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
    {
      std::lock_guard lock(mutex_);
      for (Pending* pending : batch) pending->done = true;
    }
    committed_.notify_all();
    batch.clear();
  }
}

void GroupCommitWriter::Commit(std::vector<Pending*>& batch) {
  std::vector<Reception> receptions;
  receptions.reserve(batch.size());
  for (Pending* pending : batch) receptions.push_back(std::move(pending->reception));
  try {
    if (!connection_ || !connection_->usable()) connection_ = storage_.OpenWriterConnection();
    Storage::AppendReceptions(*connection_, receptions);
    for (std::size_t i = 0; i < batch.size(); ++i) batch[i]->reception.id = receptions[i].id;
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    for (Pending* pending : batch) pending->error = error;
  }
}

}  // namespace rqbservice
