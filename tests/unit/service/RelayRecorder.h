#pragma once

#include <QByteArray>
#include <QObject>
#include <QVariant>

#include <vector>

/// A relay object that keeps every request it is given.
class RelayRecorder : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        QString name;
        qintptr handle;
        quint16 answerType;
        quint16 number;
        QByteArray data;
        QVariant json;
    };

    std::vector<Request> requests;

signals:
    void received();

public slots:
    void slotRevInterface(QString name, qintptr handle, quint16 answerType, quint16 number,
                          QByteArray data, QVariant json)
    {
        requests.push_back({name, handle, answerType, number, data, json});
        emit received();
    }
};
