// The library's response threads where there are none: whoever sleeps on the test's one thread lets those
// that were woken make their pass.
#ifndef TESTS_FAULTS_WOKEN_THREADS_H
#define TESTS_FAULTS_WOKEN_THREADS_H

#include "background/response_thread.h"
#include "core/semaphore.h"
#include "kelvane_handle.h"

class woken_threads {
  public:
    void run()
    {
        if (one_runs_) {
            return;
        }
        one_runs_ = true;
        for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
            for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
                kelvane_semaphore &semaphore = local_handles_array[0].mbox_semaphore[sirane_id][mbox];
                if (semaphore.semState == 1) {
                    kelvane_sem_take(&semaphore);
                    kelvane_asyc_resp_common(0, sirane_id, mbox);
                }
            }
        }
        one_runs_ = false;
    }

  private:
    bool one_runs_ = false;
};

#endif
