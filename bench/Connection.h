#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ky::bench {

constexpr uint16_t kEcho = 2000;

/// A request: header, JSON area, data area.
std::string makeFrame(uint16_t type, uint16_t number, const std::string& json,
                      const std::string& data);
/// The request of most rows: 176 bytes, 100 of them JSON and 60 data.
std::string makeRequest(uint16_t number);
/// Writes another number into a frame.
void setNumber(std::string& frame, uint16_t number);

/// One blocking TCP connection to a server on loopback. A failure of any call throws
/// std::runtime_error: a load that loses a connection or an answer is no measurement.
class Connection
{
public:
    /// `source` chooses one of many loopback addresses to come from, since each has a limited
    /// stock of ports.
    explicit Connection(uint16_t port, unsigned source = 0);
    ~Connection();
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&&) = delete;

    int fd() const { return _fd; }
    void send(const char* bytes, size_t size);
    void send(const std::string& bytes) { send(bytes.data(), bytes.size()); }
    /// Reads once what is there (or waits for something) and counts the whole answers in it, which
    /// must be those to `kEcho` or an upload. Their numbers must run on from the last one.
    int takeAnswers();
    /// Waits for that many answers.
    void waitForAnswers(int count);
    /// Waits until the peer has taken all bytes into its own buffer.
    void drain() const;
    /// No more comes from here; waits until the peer has closed, too.
    void finish();
    /// The number that the next answer must carry.
    void expect(uint16_t number) { _expected = number; }

private:
    int takeWhole();

    int _fd = -1;
    uint16_t _expected = 0;
    std::vector<char> _in;
    size_t _filled = 0;
};

} // namespace ky::bench
