/* Brings the library up and prints who the board is: the first program to write against libkt_driver. */
#include <kt_driver/kt_driver.h>
#include <stdio.h>
#include <string.h>

static void print_text(const char* label, const char* text)
{
    /* A version that the board does not tell is empty; one from the kernel's command line may end in a line feed. */
    const int length = (int)strcspn(text, "\n");
    if (length == 0)
        printf("  %-22s%s\n", label, "not known");
    else
        printf("  %-22s%.*s\n", label, length, text);
}

static void print_number(const char* label, int number)
{
    printf("  %-22s%d\n", label, number);
}

static void print_display(const char* label, int type)
{
    if (type < 0)
        printf("  %-22s%s\n", label, "none");
    else
        printf("  %-22stype %d\n", label, type);
}

int main(void)
{
    /* Once, from the main thread, before any other call. It prints what it finds, and runs shell commands. */
    kt_driverlib_init();

    /* These two print a line of their own when they ask the board, so they come before the list. */
    const char* const model = kt_get_model_name();
    const int chip = kt_get_rfid_chip();

    kt_sysinfo versions;
    kt_get_sysinfo(&versions);

    printf("\n");
    print_text("Model", model);
    print_number("Hardware version", kt_hardware_ver());
    print_number("Device type", kt_get_device_type());
    print_display("Main display", kt_get_lcd_type());
    print_display("Second display", kt_get_sublcd_type());
    print_number("Contactless chip", chip);
    print_number("Wi-Fi module", kt_wifimodule_ver());
    print_text("USB route", kt_get_usb_route() == 0 ? "device" : "host");
    printf("\n");
    print_text("Boot loader", kt_boot_ver());
    print_text("Boot loader (driver)", versions.ubootver);
    print_text("Kernel", kt_hal_ver());
    print_text("Root file system", kt_fatfs_ver());
    print_text("Flash layer", kt_fal_ver());
    return 0;
}
