"""The calendar part of a message as Python's email and dateutil read it: its parts, its method, its lines unfolded, and for each event of
a series when it takes place, in UTC."""

import email
import email.policy
import io
import re
import sys

from dateutil import rrule, tz

message = email.message_from_binary_file(open(sys.argv[1], "rb"), policy=email.policy.default)
print(" ".join(part.get_content_type() for part in message.walk()))
part = next(part for part in message.walk() if part.get_content_type() == "text/calendar")
print("method", part.get_param("method"), part.get_content_charset())
text = part.get_payload(decode=True).decode("utf-8")
text = re.sub("\r\n[ \t]", "", text)
assert "\n" not in text.replace("\r\n", ""), "a line that does not end in CR LF"
zones = tz.tzical(io.StringIO(text)) if "BEGIN:VTIMEZONE" in text else None
events = re.findall("BEGIN:VEVENT\r\n(.*?)END:VEVENT", text, re.S)
for line in text.split("\r\n"):
    if not line.startswith("DTSTAMP"):
        print(line)
for event in events:
    if "RRULE" not in event:
        continue
    rules = "\n".join(line for line in event.split("\r\n") if line.startswith(("DTSTART", "RRULE", "EXDATE")))
    rules = rules.replace(" ", "_")  # dateutil takes a blank for the end of a line
    found = rrule.rrulestr(rules, tzids=(lambda name: zones.get(name.replace("_", " "))) if zones else None, forceset=True)
    for at in found:
        print("occurrence", (at if at.tzinfo is None else at.astimezone(tz.UTC)).strftime("%Y-%m-%dT%H:%M:%S"))
