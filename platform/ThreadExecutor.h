// The executor of the real world: a thread for each serial queue and each task.
//
// Not a pool: a recording has a handful of threads, each with long or blocking work (file writes,
// the wait for a device), and work on one queue must never wait for a thread that another one
// holds.
//
// An exception that leaves a work item ends the process, as one that leaves a thread does.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Executor.h"

namespace hallkorb {

class ThreadExecutor final : public Executor {
 public:
  [[nodiscard]] std::unique_ptr<Task> starte(std::function<void()> arbeit) override;
  bool starteUnabhaengig(std::function<void()> arbeit) override;
  [[nodiscard]] std::unique_ptr<Schlaf> schlaf() override;
  // `name` names the thread for debuggers; systems keep its first 15 characters.
  [[nodiscard]] std::unique_ptr<SerialQueue> queue(const std::string& name) override;
};

}  // namespace hallkorb
