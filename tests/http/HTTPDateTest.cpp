#include "platform/http/internal/uVqHTTPDate.h"

#include <gtest/gtest.h>

using namespace velmore;

TEST(HTTPDate, ThreeFormsOneMoment) {
  for (const char* text : {"Sun, 06 Nov 1994 08:49:37 GMT", "Sunday, 06-Nov-94 08:49:37 GMT",
                           "Sun Nov  6 08:49:37 1994", " sun, 6 november 1994 08:49:37 ", "06-NOV-1994 08:49:37"})
    EXPECT_EQ(VqHTTPDate(text), 784111777) << text;
}

TEST(HTTPDate, EdgesOfTheCalendar) {
  EXPECT_EQ(VqHTTPDate("Thu, 01 Jan 1970 00:00:00 GMT"), 0);
  EXPECT_EQ(VqHTTPDate("Wed, 31 Dec 1969 23:59:59 GMT"), -1);
  EXPECT_EQ(VqHTTPDate("Tue, 29 Feb 2000 00:00:00 GMT"), 951782400);
  EXPECT_EQ(VqHTTPDate("Sat, 31 Dec 2016 23:59:60 GMT"), 1483228800) << "a leap second";
  EXPECT_EQ(VqHTTPDate("01 Jan 69 00:00:00"), VqHTTPDate("01 Jan 2069 00:00:00"));
  EXPECT_EQ(VqHTTPDate("01 Jan 70 00:00:00"), 0);
  EXPECT_TRUE(VqHTTPDate("01 Jan 1601 00:00:00"));
  EXPECT_TRUE(VqHTTPDate("31 Dec 9999 23:59:59"));
}

TEST(HTTPDate, WhatIsNoDate) {
  for (const char* text :
       {"", "soon", "06 Nov 1994", "08:49:37", "06 Foo 1994 08:49:37", "31 Nov 1994 08:49:37", "29 Feb 1900 00:00:00",
        "00 Nov 1994 08:49:37", "06 Nov 1600 08:49:37", "06 Nov 10000 08:49:37", "06 Nov 1994 24:00:00",
        "06 Nov 1994 08:60:37", "06 Nov 1994 08:49:61", "06 Nov 1994 8:49:37", "06 Nov 1994 -1:49:37",
        "99999999999 Nov 1994 08:49:37"})
    EXPECT_FALSE(VqHTTPDate(text)) << text;
}
