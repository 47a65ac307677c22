#ifndef KELVANECTL_FIRMWARE_PROGRESS_H
#define KELVANECTL_FIRMWARE_PROGRESS_H

#include <string>

#include "control/record_json.h"

// How far a download or an activation has come: a line on a terminal that is written over, or with `as_json`
// the events; nothing otherwise.
class firmware_progress {
  public:
    firmware_progress(std::string operation, bool as_json);
    ~firmware_progress();
    firmware_progress(const firmware_progress &) = delete;
    firmware_progress &operator=(const firmware_progress &) = delete;

    // An event of the service, of any type.
    void take(const json &event);

  private:
    std::string operation_;
    bool as_json_;
    bool is_terminal_;
    bool is_shown_ = false;
};

#endif
