// The terminal as a screen. All of ncurses is in here.
#ifndef KELVANECTL_TOP_SCREEN_H
#define KELVANECTL_TOP_SCREEN_H

#include <string>

#include "kelvanectl/top/view.h"

// One at a time; its end gives the terminal back as it was, and so does a fault of the program. What else
// ends or stops the process has to be blocked meanwhile.
class live_screen {
  public:
    live_screen();
    ~live_screen();
    live_screen(const live_screen &) = delete;
    live_screen &operator=(const live_screen &) = delete;

    // Empty, or why the terminal cannot be used as one; nothing else may be called then.
    const std::string &problem() const
    {
        return problem_;
    }

    // Takes the terminal again after `leave`, and follows its size.
    void draw(const board &shown, size_t history);

    // The terminal as it was; until `draw`.
    void leave();

    // Leaves, and stops as Ctrl-Z does, until the process is continued.
    void stop();

    // -1 when there is none.
    int next_key();

  private:
    void draw_line(int row, const view_line &line) const;

    std::string problem_;
    bool has_colours_ = false;
    bool has_blocks_ = false;
};

#endif
