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

  press KEY, release KEY       a key goes down, or up: 1 to 9, 0, enter, esc, dot, slash, f1, f2, up, down, delete, power,
                               or the number of an input code, 10 and higher
  type KEY...                  each key goes down and up
  hold KEY MS                  a key goes down, repeats, and goes up after so long
  tap X Y                      a finger touches the panel
  drag X1 Y1 X2 Y2 [--steps N] [--ms MS]
                               a finger moves over the panel, at once or within MS
                               (all of these: [--path /dev/input/eventN])
  input PATH TYPE,CODE,VALUE...
                               an input device reports these events: "input /dev/input/event1 1,28,1 0,0,0"
  input-device PATH NAME [bus=25] [vendor=N] [product=N] [version=N]
                               plug in an input device: "input-device /dev/input/event5 kt_touch bus=25"; "remove" unplugs it

  sleep                        print whether the board sleeps, and what it woke up by last
  sleep fast|real              skip the time until its wake-up timer fires, or sleep it
      [--pending MS]           a wake-up event lasts so long from now
  wake [EVENT]                 wake it up, as another (16): 1 power key, 2 keypad, 8 timer, 32 Wi-Fi

  battery [NAME=VALUE...]      print the battery, after changes: capacity=15 mains=on speed=3600 (an hour a second; 0 halts)
                               charge_rate discharge_rate (percent an hour), or any of its properties to show whatever
                               happens, "status=Not charging" temp=451; "temp=" gives it back
  clock                        print the program's time, how far it is ahead of the desk's, and the hardware clock's
  clock set TIME               set the first: seconds since 1970, or "2026-11-15 10:00:00" (UTC)
  clock advance MS             let time go by, for both
  tamper [NAME=VALUE...]       print the tamper words, after changes: status=0x10 ram=0x12345678, and silent=on, off or a
                               number of reads that the secure processor does not answer

  card tap FILE|SAMPLE         put a card into the reader's field; the samples: classic_1k, ntag213, ultralight_ev1,
                               ultralight_c, felica, type_a, type_b, payment, program and more
  card remove [NAME]           take it away, or all
  card list                    print the names of the cards in the field
  card show NAME               print a card's file as it is now
  reader [NAME=VALUE...]       print the reader, after changes: delay_ms=500 (slow cards) noise=20 (percent of the answers)
                               seed=1 busy=on pull_after=3 (exchanges, then the card is torn away; pull_after=: not)
  apdu [MS]                    print the next command for a card with an attached program, the card's name and the command's
                               number; waits up to 10 s, or MS
  apdu answer HEX [NUMBER]     answer it: "apdu answer 9000"
  phone                        print what a phone reads from the terminal

  terminals                    print the running terminals
  hello                        print what a terminal says of itself
  stop                         end the program
  json LINE                    send a line of the protocol, print the answer

Exit status: 0; 1 the terminal refused; 124 nothing came in time; 125 the command is wrong or there is no terminal.
)";
}

} // namespace kt::terminal
