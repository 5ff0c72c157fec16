#pragma once

#include <string>
#include <vector>

/// The receive rules of a connection, written down slowly and obviously: one byte string, bytes
/// erased at its front. Uploads are left out; the tests treat them apart.
class ReceiveModel
{
public:
    struct Delivery
    {
        int type;
        int number;
        std::string json; ///< text of the JSON area, empty when there was none
        std::string data;

        bool operator==(const Delivery& o) const
        {
            return type == o.type && number == o.number && json == o.json && data == o.data;
        }
    };

    std::vector<Delivery> deliveries;
    std::string buffer;

    void read(const std::string& chunk)
    {
        buffer += chunk;
        while (!buffer.empty()) {
            const bool inSync = buffer[0] == '\x5a' && buffer.size() > 1 && buffer[1] == '\x01';
            if (!inSync) {
                buffer.erase(0, 1);
                _bodySize = 0;
                continue;
            }
            if (_bodySize == 0 && buffer.size() > 15) {
                _counted = buffer.size();
                _head = buffer.substr(0, 16);
                _bodySize = field(4, 4);
            } else {
                _counted += chunk.size();
            }
            if (_counted < _bodySize + 16)
                return;
            deliver();
        }
    }

private:
    unsigned long field(size_t at, size_t size) const
    {
        unsigned long value = 0;
        for (size_t i = at; i < at + size; ++i)
            value = value * 256 + static_cast<unsigned char>(_head[i]);
        return value;
    }

    void deliver()
    {
        Delivery d{int(field(8, 2)), int(field(2, 2)), {}, {}};
        if (buffer.size() > 16) {
            const std::string body = buffer.substr(16, _bodySize);
            d.json = body.substr(0, field(12, 2));
            d.data = body.size() > d.json.size() ? body.substr(d.json.size()) : std::string();
        }
        deliveries.push_back(d);
        buffer.erase(0, _bodySize + 16);
        _bodySize = 0;
        _counted = 0;
    }

    std::string _head = std::string("\x5a\x01", 2) + std::string(14, '\0');
    unsigned long _bodySize = 0;
    unsigned long _counted = 0;
};
