#pragma once

#include <csignal>

#include <sys/resource.h>

/// While it lives, this process's files cannot grow beyond so many bytes: a disk that fills up in
/// the middle of a write, for the superuser too.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

  private:
    void (*m_handler)(int);
    rlimit m_before{};
};
