// Written for the check from the manual page kqueue(2).
#pragma once
#include <stdint.h>
#include <sys/types.h>
#include <time.h>
#define EVFILT_READ (-1)
#define EVFILT_PROC (-5)
#define EV_ADD 0x0001
#define EV_DELETE 0x0002
#define EV_ONESHOT 0x0010
#define NOTE_EXIT 0x80000000
struct kevent {
  uintptr_t ident;
  int16_t filter;
  uint16_t flags;
  uint32_t fflags;
  intptr_t data;
  void* udata;
};
#define EV_SET(kevp, a, b, c, d, e, f) \
  do {                                 \
    struct kevent* kevp_ = (kevp);     \
    kevp_->ident = (a);                \
    kevp_->filter = (b);               \
    kevp_->flags = (c);                \
    kevp_->fflags = (d);               \
    kevp_->data = (e);                 \
    kevp_->udata = (f);                \
  } while (0)
#ifdef __cplusplus
extern "C" {
#endif
int kqueue(void);
int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist, int nevents,
           const struct timespec* timeout);
#ifdef __cplusplus
}
#endif
