#pragma once

namespace ky {

/// Tells a device that was pulled off the line, which fails each read at once and without an end,
/// from a port that reports an error now and then.
class SerialErrors
{
public:
    /// Takes one error in the numbers of QSerialPort. True once in a run of such errors as only a
    /// port that is gone has, at the third. What any other says, an open that went well or was
    /// refused or an answer that did not come, shows a port that works, and ends the run.
    bool isDeviceGone(int portError);

    /// The port works: something came in, or a request begins.
    void clear() { _run = 0; }

    /// Whether the run is so long that telling more of it is of no use.
    bool isStorm() const;

private:
    int _run = 0;
};

} // namespace ky
