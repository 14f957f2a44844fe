// Group commit: one thread writes receptions, and commits together all those
// that arrived while the previous commit was under way. A caller is answered
// only after its reception's transaction has committed, and pays for one
// commit (one sync to disk with synchronous=FULL or on PostgreSQL) shared
// with everyone in its batch.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "storage/Storage.h"

namespace rqbservice {

class GroupCommitWriter {
 public:
  explicit GroupCommitWriter(const Storage& storage, std::size_t max_batch = 1024);
  ~GroupCommitWriter();
  GroupCommitWriter(const GroupCommitWriter&) = delete;
  GroupCommitWriter& operator=(const GroupCommitWriter&) = delete;

  // Stores `reception` and returns its id once committed. Throws
  // DatabaseError when it could not be stored (nothing of it was), also
  // after Stop().
  std::int64_t Write(Reception reception);

  // Commits what is queued, then ends the thread. Later writes fail.
  void Stop();

 private:
  // A caller's reception; `committed` is fulfilled (with the id, or the
  // error) by the writer, which wakes that caller alone.
  struct Pending {
    Reception reception;
    std::promise<std::int64_t> committed;
  };

  void Run();
  void Commit(std::vector<Pending*>& batch);

  const Storage& storage_;
  const std::size_t max_batch_;
  std::unique_ptr<Connection> connection_;  // the writer thread's own
  std::mutex mutex_;
  std::condition_variable queued_;
  std::vector<Pending*> queue_;  // guarded by mutex_
  bool stopping_ = false;        // guarded by mutex_
  std::thread thread_;
};

}  // namespace rqbservice
