// The board's mail queue: the program omta takes a message on its standard
// input and keeps it in its queue directory; "omta -q" delivers the queue.
// Undeliverable mail is kept, so the queue directory is trimmed by size.
// Used by the e-mail task's thread only.
#pragma once

#include "deletefiles.h"

#include <string>

class OmtaMailer {
  public:
    // Trims the queue directory once.
    OmtaMailer();

    // Puts one message (headers, empty line, body, "." line) in the queue.
    bool AddToQueue(const char* mailText);
    // Delivers the queue: true when everything left.
    bool SendQueue();
    // Queues the text if given, then delivers the queue. A failed delivery
    // trims and repairs the queue and still counts as done: the messages
    // stay queued for the next run.
    bool Mail(const char* mailText);
    bool RepareQueue();
    // Asks omta for the queue's state and prints it.
    bool QueueState();

  private:
    void TrimQueue();

    std::string queueDirectory;
    DeleteFiles deleteFiles;
};
