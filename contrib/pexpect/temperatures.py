#!/usr/bin/env python3
"""temperatures.py -- prints the temperatures of a server, read at the shell's prompt.

    contrib/pexpect/temperatures.py server1

server1 is a host of ssh's own configuration whose login gets the shell. One session serves all
lines, which is what the prompt is for; for one line alone "ssh server1 LINE" is simpler.
"""
import re
import sys

import pexpect

PROMPT = r"\r\n->"


def main():
    shell = pexpect.spawn("ssh", ["-tt", sys.argv[1]], encoding="utf-8", timeout=20)
    shell.expect(PROMPT)
    shell.sendline("show -display targets /system1/temperatures1")
    shell.expect(PROMPT)
    for sensor in re.findall(r"\btempsensor\d+\b", shell.before):
        shell.sendline("show -display properties=(elementname,currentreading,currentstate) "
                       "/system1/temperatures1/" + sensor)
        shell.expect(PROMPT)
        values = dict(re.findall(r"(\w+) += (.*?)\r\n", shell.before + "\r\n"))
        print(f"{values.get('elementname', sensor)}: {values.get('currentreading')} C, "
              f"{values.get('currentstate')}")
    shell.sendline("exit")
    shell.expect(pexpect.EOF)


main()
