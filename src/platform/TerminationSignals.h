#pragma once

#include <memory>

#include <QObject>

/// Turns SIGTERM and SIGINT into an event of the loop, so that the program ends as it would by
/// itself. One object at a time. SIGPIPE and SIGXFSZ are ignored from then on.
class TerminationSignals final : public QObject {
    Q_OBJECT

  public:
    /// @throws std::system_error
    TerminationSignals();
    /// Puts the default actions back.
    ~TerminationSignals() override;

  Q_SIGNALS:
    void received(int signal);

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
