#include "platform/DescriptorLimit.h"

DescriptorLimit::DescriptorLimit() {
    if (::getrlimit(RLIMIT_NOFILE, &m_original) != 0)
        return;
    rlimit raised = m_original;
    raised.rlim_cur = raised.rlim_max;
    m_isRaised = ::setrlimit(RLIMIT_NOFILE, &raised) == 0;
}

void DescriptorLimit::restore() const noexcept {
    if (m_isRaised)
        ::setrlimit(RLIMIT_NOFILE, &m_original);
}
