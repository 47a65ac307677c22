// The way to the card: through the service that owns it, or for this one command as its owner.
#ifndef KELVANECTL_SESSION_SESSION_H
#define KELVANECTL_SESSION_SESSION_H

#include <string>
#include <vector>

#include "control/dispatch.h"

struct answer { // NOLINT(bugprone-exception-escape): what json says of its own moves
    json result;
    json error = nullptr; // null when it is done, otherwise code, message and data
    int file = -1;        // a log's descriptor, the caller's to close
};

struct question { // NOLINT(bugprone-exception-escape): what json says of its own moves
    std::string method;
    json parameters;
};

// Null, or what the table can tell to be wrong with it.
json problem_of(const question &question);

class session {
  public:
    virtual ~session() = default;

    // Runs the operation with its parameters by name. `image` is the descriptor of the file to download, -1
    // for none. What the table can refuse is refused before anything is sent. Blocks until it is answered.
    answer ask(const std::string &method, const json &parameters, int image = -1);

    // The same for many that read, in no order; the answers are in that of the questions.
    std::vector<answer> ask_all(const std::vector<question> &questions);

  protected:
    // None of them is wrong in itself.
    virtual std::vector<answer> put(const std::vector<question> &questions, int image) = 0;
};

// Its first request takes the card.
class direct_session : public session {
  public:
    explicit direct_session(host_kind kind) : kind_(kind)
    {
    }

  protected:
    std::vector<answer> put(const std::vector<question> &questions, int image) override;

  private:
    answer put_one(const question &question, int image);

    host_kind kind_;
    bool has_card_ = false;
};

#endif
