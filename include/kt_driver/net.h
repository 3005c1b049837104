/**
 * @file
 * @brief Data sessions over the modem, the modem's power and multiplexer, and the Wi-Fi radio.
 */
#ifndef KT_DRIVER_NET_H
#define KT_DRIVER_NET_H

#include <kt_driver/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup ppp Data sessions
 *
 * One dial-up session over the modem: the library writes the files that the system's pppd and chat read, starts pppd as
 * a child process, and learns of the link through the named pipe "/tmp/kt_wireless_module", into which the board's
 * scripts write "1" (up) or "2" (down).
 *
 * Order of calls: pppd_task_create(), pppd_task_poll() until it gives #PPPD_TASK_UP; pppd_task_stop() to hang up, poll
 * until #PPPD_TASK_IDLE or #PPPD_TASK_ENDED; pppd_task_start() to dial again; pppd_task_exit() frees the session.
 *
 * What holds for all functions that take a handle: one that is not the open session's (null, freed) is refused with
 * EINVAL and never used; nothing is printed. No memory is ENOMEM. Threads: one owns the session.
 * @{
 */

/** What pppd_task_poll() gives. */
enum {
    PPPD_TASK_STARTED = 0, /**< pppd runs; nothing has been heard of the link yet. */
    PPPD_TASK_UP = 1,      /**< The link is up. */
    PPPD_TASK_DOWN = 2,    /**< The link is down or shutting down, pppd still runs. */
    PPPD_TASK_IDLE = 3,    /**< No pppd: none was started, or it is gone. */
    PPPD_TASK_ENDED = 4    /**< No pppd: it is gone, and the newest word, read only when it was found gone, is "up". */
};

/** A session. */
typedef struct pppd_task pppd_task;

/**
 * What a session dials with: four texts with their terminators. One whose first byte is 0 is absent; one without a
 * terminator ends with its field. They go into files and shell commands as they are: the context command stands
 * between single quotes and holds none; the dial string stands free and holds no blank, quote nor other character
 * special to the shell; user and password stand between double quotes and hold none of these: double quote, $,
 * backquote, backslash.
 */
typedef struct pppd_task_params {
    char context_command[128]; /**< AT command sent before dialling; at first AT+CGDCONT=1,"IP","CMNET","",0,0 */
    char dial_string[128];     /**< Behind ATD; at first *99***1# */
    char user[128];            /**< For PAP and CHAP; at first absent. */
    char password[128];        /**< For PAP and CHAP; at first absent. */
} pppd_task_params;

/** @brief Does nothing. @return 0. */
KT_API int kt_pppd_init(void);
/** @brief Does nothing. @return 0. */
KT_API int kt_pppd_fini(void);

/**
 * @brief Open the session: write its files, make its pipe, and start pppd.
 *
 * Prints "#hal pppd_task_create #". Files: "/kt/ppp/chap-secrets", "/kt/ppp/pap-secrets" and "/kt/ppp/options" are
 * removed, and made anew by shell commands when there are user and password (else a warning is printed); the chat
 * script
 * "/kt/ppp/peers/gprs-connect-chat-kt_wireless_module" is written. The secrets' form needs a board shell whose echo
 * knows -e.
 *
 * pppd is started by fork(2): standard output is flushed before; the child makes sure that the modem's multiplexer runs
 * (kt_gsm_cmux_run_check(), which may take a minute), closes descriptors 3 to 2047 and executes "pppd" with "call"
 * and the name. A child that cannot ends by exit(3) with the cause as its status.
 *
 * @param name    "kt_wireless_module".
 * @param params  Taken whole in the place of the first values above; null: those.
 * @param defer   Not 0: pppd is not started; pppd_task_start() does it.
 * @return The session; null: failed, @c errno says why. When the pipe or the fork failed, descriptors of the pipe may
 *         stay open.
 * @errno ENODEV  there is no device of that name
 * @errno EBUSY   the session is open
 * @errno EINVAL  @p name is null
 * @errno EACCES  the script or the pipe cannot be made (likewise other causes of open(2), mkfifo(3) and fork(2))
 */
KT_API pppd_task *pppd_task_create(const char *name, const pppd_task_params *params, int defer);

/**
 * @brief Take new parameters and write the session's files anew, printing what pppd_task_create() prints about them; a
 * running pppd stays as it is.
 *
 * @return 0; -1: failed, @c errno says why.
 * @errno EINVAL  a null or unknown session, null parameters
 * @errno EACCES  the chat script cannot be made (likewise other causes of open(2))
 */
KT_API int pppd_task_set_param(pppd_task *task, const pppd_task_params *params);

/**
 * @brief Start pppd, see pppd_task_create(). Prints "#hal pppd_task_start #", and "[ERROR] pppd_task activate status
 *        <status>" when it runs.
 * @return 0; -1: failed, @c errno says why.
 * @errno EBUSY  it runs (status 0, 1 or 2)
 */
KT_API int pppd_task_start(pppd_task *task);

/**
 * @brief Look after the session: reap pppd, read the pipe, advance the status. Prints "#hal pppd_task_poll #" at the
 *        end.
 *
 * In the states 0 to 2 it also prints "get_latest_notify start", then "get_latest_notify end" or, when the pipe cannot
 * be read, "#get_latest_notify return ". Call it about once a second. Of several notifications only the newest counts.
 *
 * @return The status, #PPPD_TASK_STARTED to #PPPD_TASK_ENDED; -1: failed, @c errno says why, the status stays.
 * @errno EBADMSG  the notification is neither "1" nor "2"
 * @errno EIO      the pipe is at its end (likewise other causes of read(2) and kill(2))
 */
KT_API int pppd_task_poll(pppd_task *task);

/**
 * @brief Hang up: in the states 0 and 1 waits 800 ms, runs "/kt/ppp/kt-ppp-kill", sends SIGTERM to pppd. The end is
 * seen by pppd_task_poll(). Prints "#hal pppd_task_stop #".
 * @return 0.
 */
KT_API int pppd_task_stop(pppd_task *task);

/** @brief The same as pppd_task_stop(), with a trace line of its own, "#hal pppd_task_kill #". @return 0. */
KT_API int pppd_task_kill(pppd_task *task);

/**
 * @brief Hang up, wait until pppd has gone, and free the session. Prints "#hal pppd_task_exit #" at the end.
 *
 * Polls every 2 s, printing as pppd_task_poll() does; there is no upper bound. A poll that fails ends the wait too:
 * pppd may then still run. The files and the pipe's name stay.
 *
 * @return 0.
 */
KT_API int pppd_task_exit(pppd_task *task);

/** @} */

/**
 * @defgroup modem Modem
 *
 * Power by the attribute "gsm_pwr" of "/sys/class/kt_misc/ioctl/"; the daemon "gsm0710muxd_bp" makes the channels
 * "/dev/chn/1" and so on of the modem's line "/dev/ttyS0". Channel 3 carries data calls, and is port 21 of
 * @ref serial_ports. Waits and commands that fail are only seen in what is printed. Threads: one at a time.
 * @{
 */

/**
 * @brief Whether a process of a name runs, by "pidof -s <name>" through system_helper(). Prints the result.
 *
 * @param name  Becomes part of a shell command line as it is.
 * @return 1: it runs; 0: it does not, or the command failed; 0 with EINVAL: @p name is null.
 */
KT_API int task_check_run(const char *name);

/**
 * @brief Make sure that the multiplexer runs and the modem answers.
 *
 * The first call of a process waits up to 15 s for "/dev/chn/3". When the daemon does not run (asked twice): switches
 * the modem off and on, removes "/dev/chn", starts "/kt/kt_module/gsm0710muxd_bp.sh", and says "AT" on port 21 until
 * "OK" comes, up to 30 times. All of this takes up to a minute with a silent modem. Each step prints a line, and each
 * command its own; bytes on the port are shown as kt_log_hexdump() does.
 *
 * Where the application ignores SIGCHLD, system(3) does not learn how pidof ended: the daemon then counts as absent.
 *
 * @return 1: the daemon was running; else the result of closing port 21: 0, -1 when it could not be opened.
 */
KT_API int kt_gsm_cmux_run_check(void);

/**
 * @brief Switch the modem on; start the daemon, but only after a kt_gsm_stop(): the system starts both at boot.
 *        Prints "kt_gsm_start ".
 * @return 0.
 */
KT_API int kt_gsm_start(void);

/**
 * @brief Switch the modem off; stop the daemon by "/kt/kt_module/gsm0710muxd_bp-kill.sh" and remove "/dev/chn", unless
 *        that is done already. Prints "kt_gsm_stop ".
 * @return 0.
 */
KT_API int kt_gsm_stop(void);

/** @brief The modem's power, attribute "gsm_pwr". @return The value; -1: failed, @c errno says why. */
KT_API int kt_get_gsm_power(void);

/** @brief Does nothing. */
KT_API void kt_gsm_suspend(void);
/** @brief Does nothing. */
KT_API void kt_gsm_resume(void);
/** @brief Does nothing. @return 1. */
KT_API int kt_gsm_status(void);
/** @brief Does nothing. @return 1. */
KT_API int kt_is_support_dsss(void);

/** @} */

/**
 * @defgroup wifi Wi-Fi radio
 *
 * Module version 1 (kt_wifimodule_ver()) is switched by the command "rfkill" where the attribute "state" of
 * "/sys/class/rfkill/rfkill0/" says that it is needed, and 100 ms pass in any case. The others are switched by the
 * attribute "wifi_status" of "/sys/class/kt_misc/ioctl/", in which 0 is on and 1 is off. Failures are only seen in
 * syslog. Threads: one at a time.
 * @{
 */

/** @brief Switch the radio on. @return 0. */
KT_API int kt_wifi_start(void);
/** @brief Switch the radio off. @return 0. */
KT_API int kt_wifi_stop(void);
/** @brief kt_wifi_stop(). */
KT_API int kt_wifi_suspend(void);
/** @brief kt_wifi_start(). */
KT_API int kt_wifi_resume(void);
/** @brief Does nothing. @return 0. */
KT_API int kt_wifi_upgrademode(void);

/**
 * @brief Keep the radio on while the terminal sleeps, attribute "kt_wifi_keepalived" of "/sys/class/kt_misc/ioctl/".
 * @param on  Written as an unsigned 32-bit number.
 * @return 0; -1: failed, @c errno says why.
 */
KT_API int kt_wifi_set_keepalived(int on);

/** @brief What kt_wifi_set_keepalived() set. @return The value; -1: failed, @c errno says why. */
KT_API int kt_wifi_get_keepalived(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
