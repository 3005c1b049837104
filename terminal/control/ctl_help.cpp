/** What `kt-terminal ctl --help` prints. */
#include "terminal/control/ctl.h"

namespace kt::terminal {

std::string ctl_help()
{
    return R"(usage: kt-terminal ctl [--name NAME | --control SOCKET] COMMAND ...

Speaks to a running terminal: the only one, or that called NAME.

  get PATH                     print an attribute or file
  set [-n] PATH TEXT           make or change it; a line feed follows the text unless -n is given
      [--mode 0644]            its permissions
      [--kind text|integer|file]  how it takes what programs write
  remove PATH                  take a place off the board
  list [PATH]                  print the names in a folder

  fail PATH                    make an access fail (with EIO), or wait; prints the rule's number. PATH can be a shell
                               pattern, and with "--on run" the name of a program
      [--on open]              lookup, open, read, write, ioctl, create, remove or run
      [--errno EROFS]          the error
      [--delay MS] [--hang]    wait so long, or until the rule is taken back; without --errno the access then goes on
      [--skip N] [--times N]   let N pass first; act N times only
  mend [RULE]                  take back one rule, or all
  faults                       print the rules

  journal [--from N] [--follow] [--json]
                               print what the program did
  wait [--kind K] [--path P] [--data D] [--after N] [--timeout MS]
                               print the first event (after number N) that fits; waits up to 10 s, or MS

  program NAME                 print what a stand-in program does; with options, change it
      [--status N] [--output TEXT] [--run PROGRAM] [--power restart|off|none]
  plug THING, unplug THING, act VERB THING
                               do something to the board
  actions                      print what can be done

  port PATH [NAME=VALUE...]    plug in a serial port: "port /dev/ttyACM5"; "remove" unplugs it. Its other end follows the
                               terminal's settings, or has speed=9600 data_bits=8 parity=N stop_bits=1 of its own
  send PATH TEXT               send to the terminal; \r \n \t \\ and \xHH stand for bytes
      [--error parity]         every byte arrives with an error: parity, framing or overrun
  send PATH --break            send a break
  expect PATH [TEXT [MS]]      wait until the terminal has sent TEXT, 10 s or MS; print what came before it. Without TEXT
                               print what it has sent so far
  line PATH [NAME=VALUE...]    print a line's state, after changes: cts dsr cd ri hold follow (=on or off), and the other
                               end's speed data_bits parity stop_bits
  hang-up PATH                 hang up
  bridge PATH pty|tcp[:N]|none lead a line to a pty or a TCP port of 127.0.0.1; print which

  terminals                    print the running terminals
  hello                        print what a terminal says of itself
  stop                         end the program
  json LINE                    send a line of the protocol, print the answer

Exit status: 0; 1 the terminal refused; 124 nothing came in time; 125 the command is wrong or there is no terminal.
)";
}

} // namespace kt::terminal
