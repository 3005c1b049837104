// The older Uart* names over the port table.
#include "kt_driver/serial.h"

int UartInit(void)
{
    return 0;
}

int UartOpen(int port, int baudrate, int /*databits*/, int stopbits, int parity)
{
    if (stopbits == 1)
        stopbits = KT_SERIAL_1_STOP_BIT;
    else if (stopbits == 2)
        stopbits = KT_SERIAL_2_STOP_BITS;
    if (parity == 1)
        parity = KT_SERIAL_ODD_PARITY;
    else if (parity == 2)
        parity = KT_SERIAL_EVEN_PARITY;
    return kt_serial_open(port, baudrate, KT_SERIAL_8_DATA_BITS, stopbits, parity);
}

int UartClose(int port)
{
    return kt_serial_close(port);
}

int UartSend(int port, const void* buf, unsigned len)
{
    return kt_serial_write(port, buf, len);
}

int UartRecv(int port, void* buf, unsigned len, int timeout_ms)
{
    return kt_serial_read(port, buf, len, timeout_ms);
}

int UartGetRXBufCount(int port)
{
    int count = 0;
    (void)kt_serial_data_avail(port, nullptr, &count);
    return count;
}

int UartGetTXBufCount(int port)
{
    int count = 0;
    (void)kt_serial_data_avail(port, &count, nullptr);
    return count;
}

int UartClear(int port)
{
    return kt_serial_flush(port);
}

int kt_appport_setfifo(...)
{
    return 0;
}

int kt_appport_put_bytes(...)
{
    return 0;
}

void kt_appport_writecb(...) {}
