// Feeds the board from the service: what there is at the start, then its events. Nothing here blocks.
#ifndef KELVANECTL_TOP_FEED_H
#define KELVANECTL_TOP_FEED_H

#include <map>

#include "kelvanectl/session/service_session.h"
#include "kelvanectl/top/board.h"

class feed {
  public:
    feed(service_session &service, board &to) : service_(service), to_(to)
    {
    }

    // Subscribes, after a connection was lost too. Null, or why that cannot be.
    json begin();

    // What has come, up to a limit that leaves time for the keyboard: true when there may be more.
    bool take();

  private:
    json ask(const std::string &method, const std::string &address = "");
    void ask_for_the_rest();
    void begin_again();
    void take_answer(const json &message);
    void take_result(const question &asked, const json &result);
    json lose(const json &problem);

    service_session &service_;
    board &to_;
    std::map<int64_t, question> asked_; // by id
    bool begins_again_ = false;         // when all of them are answered
    bool tells_of_modules_ = false;
};

#endif
