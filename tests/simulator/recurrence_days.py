"""The days of recurrences by dateutil: reads one recurrence a line, writes its first twelve days a line."""

import datetime
import sys

from dateutil import rrule

DAYS = dict(zip("Monday Tuesday Wednesday Thursday Friday Saturday Sunday".split(), range(7)))
SETS = {"Day": range(7), "Weekday": range(5), "WeekendDay": (5, 6)}
MONTHS = dict(zip(("January February March April May June July August September October November December").split(),
                  range(1, 13)))
INDEXES = dict(First=1, Second=2, Third=3, Fourth=4, Last=-1)


def weekdays(text):
    return SETS[text] if text in SETS else [DAYS[day] for day in text.split("+")]


def last_of(day):
    """That day of a month, or its last one."""
    return dict(bymonthday=range(28, day + 1), bysetpos=-1) if day > 28 else dict(bymonthday=day)


for line in sys.stdin:
    kind, start, interval, days, index, month, day = line.split()
    begin = datetime.datetime.strptime(start, "%Y-%m-%d")
    rule = dict(dtstart=begin, interval=int(interval), count=12)
    if kind == "DailyRecurrence":
        found = rrule.rrule(rrule.DAILY, **rule)
    elif kind == "WeeklyRecurrence":
        found = rrule.rrule(rrule.WEEKLY, byweekday=weekdays(days), wkst=rrule.SU, **rule)
    elif kind == "AbsoluteMonthlyRecurrence":
        found = rrule.rrule(rrule.MONTHLY, **last_of(int(day)), **rule)
    elif kind == "RelativeMonthlyRecurrence":
        found = rrule.rrule(rrule.MONTHLY, byweekday=weekdays(days), bysetpos=INDEXES[index], **rule)
    elif kind == "AbsoluteYearlyRecurrence":
        rule["interval"] = 1
        found = rrule.rrule(rrule.YEARLY, bymonth=MONTHS[month], **last_of(int(day)), **rule)
    else:
        rule["interval"] = 1
        found = rrule.rrule(rrule.YEARLY, bymonth=MONTHS[month], byweekday=weekdays(days), bysetpos=INDEXES[index], **rule)
    print(" ".join(date.strftime("%Y-%m-%d") for date in found))
