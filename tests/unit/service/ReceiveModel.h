#pragma once

#include <algorithm>
#include <string>
#include <vector>

/// The receive rules of a connection, written down slowly and obviously: one byte string, bytes
/// erased at its front. The file of an upload is a string, too.
class ReceiveModel
{
public:
    struct Delivery
    {
        int type;
        int number;
        bool isUpload;
        bool hasJson;
        std::string json; ///< text of the JSON area, empty when there was none
        std::string data;

        bool operator==(const Delivery& o) const
        {
            return type == o.type && number == o.number && isUpload == o.isUpload &&
                   hasJson == o.hasJson && json == o.json && data == o.data;
        }
    };

    /// A byte that belonged to no frame.
    struct Loss
    {
        size_t deliveredBefore;
        size_t left; ///< in the buffer, behind it

        bool operator==(const Loss& o) const
        {
            return deliveredBefore == o.deliveredBefore && left == o.left;
        }
    };

    std::vector<Delivery> deliveries;
    std::vector<Loss> losses;
    std::string buffer;
    std::string file;    ///< content of the upload file, from its last opening on
    int openings = 0;    ///< of that file
    bool canOpen = true; ///< whether that file opens
    bool isNeedStop = false;

    void read(const std::string& chunk)
    {
        buffer += chunk;
        while (!buffer.empty() && !isNeedStop) {
            const bool inSync = buffer[0] == '\x5a' && buffer.size() > 1 && buffer[1] == '\x01';
            if (!inSync) {
                buffer.erase(0, 1);
                _bodySize = 0;
                losses.push_back({deliveries.size(), buffer.size()});
                continue;
            }
            if (_bodySize == 0 && buffer.size() > 15) {
                _counted = buffer.size();
                _head = buffer.substr(0, 16);
                _bodySize = field(4, 4);
                if (field(8, 2) == kUpload && !_isUploading && canOpen) {
                    _isUploading = true;
                    file.clear();
                    ++openings;
                }
            } else {
                if (_isUploading)
                    moveToFile();
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

    /// What stands behind the JSON area. It leaves the buffer, also at the end of the upload: a
    /// frame in the same read is content of the file and nothing else. The rules could be read
    /// otherwise there, with only header and JSON area leaving the buffer: all that the last read
    /// brought would then be searched for frames as well, and content be warned of as noise.
    void moveToFile()
    {
        const size_t cut = 16 + field(12, 2);
        if (buffer.size() <= cut)
            return;
        file += buffer.substr(cut);
        buffer.resize(cut);
    }

    void deliverUpload()
    {
        moveToFile();
        deliveries.push_back(
            {int(field(8, 2)), int(field(2, 2)), true, true, buffer.substr(16), {}});
        buffer.clear();
        _isUploading = false;
        _bodySize = 0;
        _counted = 0;
    }

    void deliver()
    {
        if (_isUploading) {
            deliverUpload();
            return;
        }
        Delivery d{int(field(8, 2)), int(field(2, 2)), false, false, {}, {}};
        // With fewer than 16 bytes there is no body, and an empty JSON area if any is announced.
        if (buffer.size() != 16) {
            buffer.resize(std::max<size_t>(buffer.size(), 16));
            d.hasJson = field(12, 2) != 0;
            const std::string body = buffer.substr(16, _bodySize);
            d.json = body.substr(0, field(12, 2));
            d.data = body.size() > d.json.size() ? body.substr(d.json.size()) : std::string();
        }
        deliveries.push_back(d);
        buffer.erase(0, _bodySize + 16);
        _bodySize = 0;
        _counted = 0;
    }

    static constexpr unsigned long kUpload = 5104;

    bool _isUploading = false;
    std::string _head = std::string("\x5a\x01", 2) + std::string(14, '\0');
    unsigned long _bodySize = 0;
    unsigned long _counted = 0;
};
