// The way to the card: through the service that owns it, or for this one command as its owner.
#ifndef KELVANECTL_SESSION_H
#define KELVANECTL_SESSION_H

#include <string>

#include "control/dispatch.h"

struct answer {
    json result;
    json error = nullptr; // null when it is done, otherwise code, message and data
    int file = -1;        // a log's descriptor, the caller's to close
};

class session {
  public:
    virtual ~session() = default;

    // Runs the operation with its parameters by name. `image` is the descriptor of the file to download, -1
    // for none. Blocks until it is answered.
    virtual answer ask(const std::string &method, const json &parameters, int image) = 0;

    answer ask(const std::string &method, const json &parameters)
    {
        return ask(method, parameters, -1);
    }
};

// Its first request takes the card.
class direct_session : public session {
  public:
    explicit direct_session(host_kind kind) : kind_(kind)
    {
    }

    using session::ask;
    answer ask(const std::string &method, const json &parameters, int image) override;

  private:
    host_kind kind_;
    bool has_card_ = false;
};

#endif
