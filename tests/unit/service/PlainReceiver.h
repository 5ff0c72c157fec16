#pragma once

#include "ReceiveModel.h"

#include "service/ReceiveRules.h"

/// A connection without a socket: it keeps what the receive rules tell, the upload file in memory.
class PlainReceiver final : public ky::ReceiveListener
{
public:
    std::vector<ReceiveModel::Delivery> deliveries;
    std::vector<ReceiveModel::Loss> losses;
    QByteArray buffer;
    std::string file;
    const char* lastWritten = nullptr; ///< where the last piece of the file came from
    int openings = 0;
    bool canOpen = true;
    bool hasMemory = true;
    std::atomic<bool> isNeedStop{false};
    int lossesToStop = -1; ///< sets the stop flag after so many

    void read(const QByteArray& bytes)
    {
        ky::ReceiveRules({buffer, _consumed, _header, _dataSize, _receivedSize, isNeedStop}, *this)
            .take(bytes);
    }

    void deliver(const ky::ReceivedRequest& request) override
    {
        deliveries.push_back({request.type, request.number, false, request.json.has_value(),
                              std::string(request.json.value_or("")), std::string(request.data)});
    }

    int skip(int count, int left) override
    {
        for (int skipped = 1; skipped <= count; ++skipped) {
            losses.push_back({deliveries.size(), size_t(left - skipped)});
            isNeedStop = isNeedStop || --lossesToStop == 0;
            if (isNeedStop)
                return skipped;
        }
        return count;
    }

    bool isUploadOpen() const override { return _isOpen; }

    void openUpload() override
    {
        _isOpen = canOpen;
        if (!_isOpen)
            return;
        file.clear();
        ++openings;
    }

    void writeUpload(std::string_view bytes) override
    {
        file += bytes;
        lastWritten = bytes.data();
    }

    void finishUpload(std::string_view bytes) override
    {
        file += bytes;
        _isOpen = false;
    }

    void deliverUpload(quint16 type, quint16 number, const QByteArray& json) override
    {
        deliveries.push_back({type, number, true, true, json.toStdString(), {}});
    }

    void outOfMemory(quint64) override { hasMemory = false; }

private:
    VantHeader _header;
    quint64 _dataSize = 0;
    quint64 _receivedSize = 0;
    int _consumed = 0;
    bool _isOpen = false;
};
