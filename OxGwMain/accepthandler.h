// The listening socket for XML clients, and the process's signal handler.
#pragma once

#include <ace/Event_Handler.h>
#include <ace/SOCK_Acceptor.h>

class Accept_Handler : public ACE_Event_Handler {
  public:
    Accept_Handler() = default;

    ACE_SOCK_Acceptor& Acceptor() { return acceptor_; }

    int handle_input(ACE_HANDLE handle) override;
    int handle_exception(ACE_HANDLE handle) override;
    int handle_signal(int signum, siginfo_t* info, ucontext_t* context) override;
    ACE_HANDLE get_handle() const override { return acceptor_.get_handle(); }

  private:
    ACE_SOCK_Acceptor acceptor_;
    bool shuttingDown_ = false;
};
