// Names: searches with all their candidates, and recipients that are completed in place.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class ResolveNames : public SessionTest {
 protected:
  ResolveNames() { LogOn(); }

  struct Candidate {
    std::string Name, Address, Routing = "SMTP", Type = "Mailbox", Rest = {};
  };
  static std::string MailboxOf(const Candidate& candidate) {
    return "<t:Resolution><t:Mailbox><t:Name>" + candidate.Name + "</t:Name>" +
           (candidate.Address.empty() ? "" : "<t:EmailAddress>" + candidate.Address + "</t:EmailAddress>") +
           "<t:RoutingType>" + candidate.Routing + "</t:RoutingType><t:MailboxType>" + candidate.Type +
           "</t:MailboxType>" + candidate.Rest + "</t:Mailbox></t:Resolution>";
  }
  static std::string Set(const std::vector<Candidate>& candidates) {
    std::string xml = "<m:ResolutionSet TotalItemsInView=\"" + std::to_string(candidates.size()) +
                      "\" IncludesLastItemInRange=\"true\">";
    for (const Candidate& candidate : candidates) xml += MailboxOf(candidate);
    return xml + "</m:ResolutionSet>";
  }
  static Answer Found(const Candidate& candidate) {
    return Reply("ResolveNames", Success("ResolveNames", Set({candidate})));
  }
  static Answer Several(const std::vector<Candidate>& candidates) {
    return Reply("ResolveNames",
                 "<m:ResolveNamesResponseMessage ResponseClass=\"Warning\"><m:MessageText>Multiple results were found."
                 "</m:MessageText><m:ResponseCode>ErrorNameResolutionMultipleResults</m:ResponseCode>" +
                     Set(candidates) + "</m:ResolveNamesResponseMessage>");
  }
  static Answer NotFound() {
    return Reply("ResolveNames", Refusal("ResolveNames", "ErrorNameResolutionNoResults", "No results were found."));
  }
  TVqRef<IVqEWSRecipient> Recipient(const char* name, const char* address = "", const char* routing = "") {
    const auto recipient = Session.CreateRecipients()->Add("placeholder");
    recipient->SetName(name);
    recipient->SetEmailAddress(address);
    recipient->SetRoutingType(routing);
    return recipient;
  }
  /// The item id as it was written: in elements, while reading it looks for attributes.
  static string WrittenId(const TVqRef<IVqEWSRecipient>& recipient) {
    return Supports<TVqEWSRecipient>(recipient)
        ->AsElement()
        .SelectSingleElement("ItemId", kSelectRequired)
        .GetInnerXML();
  }
  static std::string Header() { return "<t:RequestServerVersion Version=\"Exchange2007_SP1\"/>"; }
};

// ---- Searches

TEST_F(ResolveNames, SearchTellsItsScopeAndWantsEverything) {
  const std::pair<TSearchScope, const char*> scopes[] = {{scActiveDirectory, "ActiveDirectory"},
                                                         {scActiveDirectoryContacts, "ActiveDirectoryContacts"},
                                                         {scContacts, "Contacts"},
                                                         {scContactsActiveDirectory, "ContactsActiveDirectory"}};
  for (const auto& [scope, text] : scopes) {
    Server.Then(NotFound());
    Session.ResolveName("Ann & Bob", scope);
    EXPECT_EQ(Sent(LastRequest()),
              Expected(Header(), std::string("<m:ResolveNames ReturnFullContactData=\"true\" SearchScope=\"") + text +
                                     "\"><m:UnresolvedEntry>Ann &amp; Bob</m:UnresolvedEntry></m:ResolveNames>"));
  }
}

TEST_F(ResolveNames, ShapeOfContactsIsAskedForFrom2010SP2On) {
  for (const auto& [version, asked] :
       {std::pair{"Exchange2010_SP1", false}, std::pair{"Exchange2010_SP2", true}, std::pair{"Exchange2016", true}}) {
    Session.SetActive(false);
    Server.Then(ProbeAnswer({14, 0, 0, 0, version})).Then(Reply("GetServerTimeZones", Success("GetServerTimeZones")));
    Session.SetActive(true);
    Session.SetCurrentTimeZoneContext("");
    Server.Then(NotFound());
    Session.ResolveName("ann", scContacts);
    EXPECT_EQ(Sent(LastRequest()),
              Expected(std::string("<t:RequestServerVersion Version=\"") + version + "\"/>",
                       std::string("<m:ResolveNames ReturnFullContactData=\"true\" SearchScope=\"Contacts\"") +
                           (asked ? " ContactDataShape=\"Default\"" : "") +
                           "><m:UnresolvedEntry>ann</m:UnresolvedEntry></m:ResolveNames>"));
  }
}

TEST_F(ResolveNames, NameThatIsNotFoundGivesAnEmptySet) {
  Server.Then(NotFound());
  const auto set = Session.ResolveName("nobody", scContacts);
  EXPECT_EQ(set->Count(), 0);
  EXPECT_FALSE(set->IncludesLastItemInRange());
  EXPECT_THROW(set->GetItem(0), EListError);
}

TEST_F(ResolveNames, AllCandidatesAreGivenInOrder) {
  Server.Then(Several({{"Ann", "ann@example.com"}, {"Bob", "bob@example.com", "SMTP", "Contact"}}));
  const auto set = Session.ResolveName("b", scContacts);
  ASSERT_EQ(set->Count(), 2);
  EXPECT_TRUE(set->IncludesLastItemInRange());
  EXPECT_EQ(set->GetItem(0)->GetRecipient().GetEmailAddress(), "ann@example.com");
  EXPECT_EQ(set->GetItem(1)->GetRecipient().GetName(), "Bob");
  EXPECT_FALSE(set->GetItem(0) == set->GetItem(0)) << "a new object at each call";
  EXPECT_THROW(set->GetItem(2), EListError);
  EXPECT_THROW(set->GetItem(-1), EListError);
}

TEST_F(ResolveNames, CandidateWithoutAContactHasAnEmptyOne) {
  Server.Then(Reply(
      "ResolveNames",
      Success(
          "ResolveNames",
          "<m:ResolutionSet IncludesLastItemInRange=\"false\"><t:Resolution><t:Mailbox><t:Name>Ann</t:Name></t:Mailbox>"
          "<t:Contact><t:DisplayName>Ann Arden</t:DisplayName></t:Contact></t:Resolution>" +
              MailboxOf({"Bob", "bob@example.com"}) + "</m:ResolutionSet>")));
  const auto set = Session.ResolveName("a", scContacts);
  EXPECT_FALSE(set->IncludesLastItemInRange());
  EXPECT_EQ(set->GetItem(0)->GetContact().GetDisplayName(), "Ann Arden");
  EXPECT_EQ(set->GetItem(1)->GetContact().GetDisplayName(), "");
}

TEST_F(ResolveNames, CandidateWithoutAMailboxHasAnEmptyOne) {
  Server.Then(Reply(
      "ResolveNames",
      Success("ResolveNames", "<m:ResolutionSet IncludesLastItemInRange=\"1\"><t:Resolution/></m:ResolutionSet>")));
  const auto set = Session.ResolveName("a", scContacts);
  EXPECT_TRUE(set->IncludesLastItemInRange());
  EXPECT_EQ(set->GetItem(0)->GetRecipient().GetEmailAddress(), "");
}

TEST_F(ResolveNames, CandidatesOutliveTheirSet) {
  Server.Then(Found({"Ann", "ann@example.com"}));
  const auto candidate = Session.ResolveName("a", scContacts)->GetItem(0);
  EXPECT_EQ(candidate->GetRecipient().GetName(), "Ann");
}

// ---- Recipients

TEST_F(ResolveNames, RecipientIsAskedForByItsAddressElseByItsName) {
  Server.Then(NotFound()).Then(NotFound()).Then(NotFound());
  const auto sent = [&](const TVqRef<IVqEWSRecipient>& recipient) {
    Session.ResolveName(recipient, false);
    return Sent(LastRequest());
  };
  EXPECT_EQ(sent(Recipient("Ann", "ann@example.com")),
            Expected(Header(),
                     "<m:ResolveNames ReturnFullContactData=\"false\"><m:UnresolvedEntry>ann@example.com"
                     "</m:UnresolvedEntry></m:ResolveNames>"))
      << "no scope goes out";
  EXPECT_EQ(sent(Recipient("Ann")),
            Expected(Header(),
                     "<m:ResolveNames ReturnFullContactData=\"false\"><m:UnresolvedEntry>Ann</m:UnresolvedEntry>"
                     "</m:ResolveNames>"));
  EXPECT_EQ(sent(Recipient("")),
            Expected(Header(), "<m:ResolveNames ReturnFullContactData=\"false\"><m:UnresolvedEntry/></m:ResolveNames>"))
      << "neither address nor name";
}

TEST_F(ResolveNames, OneOffAddressGetsAMadeUpId) {
  Server.Then(Found({"Ann Arden", "ann@example.com"}));
  const auto recipient = Recipient("ann");
  EXPECT_TRUE(Session.ResolveName(recipient, true));
  EXPECT_EQ(recipient->GetName(), "Ann Arden");
  EXPECT_EQ(recipient->GetEmailAddress(), "ann@example.com");
  EXPECT_EQ(recipient->GetRoutingType(), "SMTP");
  EXPECT_EQ(recipient->GetMailboxType(), mtMailbox);
  EXPECT_EQ(WrittenId(recipient), "<t:Id>SMTP:ann@example.com</t:Id><t:ChangeKey>OneOff</t:ChangeKey>");
}

TEST_F(ResolveNames, ContactBringsItsOwnId) {
  Server.Then(Found({"Ann", "ann@example.com", "SMTP", "Contact", "<t:ItemId Id=\"AAMk\" ChangeKey=\"CQAA\"/>"}));
  const auto recipient = Recipient("ann");
  EXPECT_TRUE(Session.ResolveName(recipient, true));
  EXPECT_EQ(WrittenId(recipient), "<t:Id>AAMk</t:Id><t:ChangeKey>CQAA</t:ChangeKey>");
  EXPECT_EQ(recipient->GetMailboxType(), mtContact);
}

TEST_F(ResolveNames, OtherRoutingTypesMayLackAnAddress) {
  Server.Then(Found({"Ann", "", "EX"}));
  const auto recipient = Recipient("ann", "old@example.com");
  EXPECT_TRUE(Session.ResolveName(recipient, true));
  EXPECT_EQ(recipient->GetEmailAddress(), "") << "its absence gives an empty one";
  EXPECT_EQ(recipient->GetRoutingType(), "EX");
  EXPECT_EQ(WrittenId(recipient), "<t:Id>EX:</t:Id><t:ChangeKey>OneOff</t:ChangeKey>");
  Server.Then(Found({"Ann", "", "smtp"}));
  EXPECT_TRUE(Session.ResolveName(recipient, true)) << "exactly SMTP counts";
}

TEST_F(ResolveNames, ReplyThatLacksSomethingLeavesTheRecipientAsItWas) {
  for (const char* mailbox :
       {"<t:EmailAddress>a@b</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType><t:MailboxType>Mailbox</t:MailboxType>",
        "<t:Name>x</t:Name><t:EmailAddress>a@b</t:EmailAddress><t:MailboxType>Mailbox</t:MailboxType>",
        "<t:Name>x</t:Name><t:RoutingType>SMTP</t:RoutingType><t:MailboxType>Mailbox</t:MailboxType>",
        "<t:Name>x</t:Name><t:EmailAddress>a@b</t:EmailAddress><t:RoutingType>SMTP</t:RoutingType>"}) {
    Server.Then(
        Reply("ResolveNames", Success("ResolveNames", std::string("<m:ResolutionSet><t:Resolution><t:Mailbox>") +
                                                          mailbox + "</t:Mailbox></t:Resolution></m:ResolutionSet>")));
    const auto recipient = Recipient("Ann", "ann@example.com");
    EXPECT_THROW(Session.ResolveName(recipient, false), EVqXMLError) << mailbox;
    EXPECT_EQ(recipient->GetName(), "Ann");
    EXPECT_EQ(recipient->GetEmailAddress(), "ann@example.com");
  }
  Server.Then(Reply("ResolveNames", Success("ResolveNames", "<m:ResolutionSet/>")));
  EXPECT_THROW(Session.ResolveName(Recipient("Ann"), false), EVqXMLError) << "success without a candidate";
  Server.Then(Reply("ResolveNames", ""));
  EXPECT_THROW(Session.ResolveName(Recipient("Ann"), false), EVqXMLError);
  ExpectUsable();
}

TEST_F(ResolveNames, ContactWinsOverTheDirectory) {
  Server.Then(Several({{"Ann A", "a@example.com"},
                       {"Ann B", "b@example.com", "SMTP", "Contact"},
                       {"Ann C", "c@example.com", "SMTP", "Contact"}}));
  const auto recipient = Recipient("ann");
  EXPECT_TRUE(Session.ResolveName(recipient, true));
  EXPECT_EQ(recipient->GetEmailAddress(), "b@example.com");
}

TEST_F(ResolveNames, WithoutAContactTheFirstWins) {
  Server.Then(Several({{"Ann A", "a@example.com"}, {"Ann B", "b@example.com", "SMTP", "PublicDL"}}));
  const auto recipient = Recipient("ann");
  EXPECT_TRUE(Session.ResolveName(recipient, true));
  EXPECT_EQ(recipient->GetEmailAddress(), "a@example.com");
}

TEST_F(ResolveNames, NotFoundIsFalseOrRaises) {
  Server.Then(NotFound()).Then(NotFound());
  const auto recipient = Recipient("ann");
  EXPECT_FALSE(Session.ResolveName(recipient, false));
  EXPECT_EQ(recipient->GetName(), "ann");
  ExpectRaised<EEWSException>([&] { Session.ResolveName(recipient, true); },
                              [](const EEWSException& failure) {
                                EXPECT_EQ(failure.Message(), "ErrorNameResolutionNoResults (No results were found.).");
                              });
  ExpectUsable();
}

TEST_F(ResolveNames, NotFoundIsTrueForARecipientThatIsComplete) {
  for (const bool raise : {false, true}) {
    Server.Then(NotFound());
    const auto recipient = Recipient("Ann", "ann@example.com", "SMTP");
    EXPECT_TRUE(Session.ResolveName(recipient, raise));
    EXPECT_EQ(recipient->GetName(), "Ann");
  }
  Server.Then(NotFound()).Then(NotFound());
  EXPECT_FALSE(Session.ResolveName(Recipient("Ann", "ann@example.com"), false)) << "both are needed";
  EXPECT_FALSE(Session.ResolveName(Recipient("Ann", "", "SMTP"), false));
}

TEST_F(ResolveNames, EmptyReferenceIsAnErrorOfTheCaller) {
  EXPECT_THROW(Session.ResolveName(TVqRef<IVqEWSRecipient>(), false), EVqException);
  EXPECT_THROW(Session.ResolveNames(nullptr, false), EVqException);
}

// ---- Lists

TEST_F(ResolveNames, EmptyListIsResolvedAndSendsNothing) {
  const std::size_t before = Server.Requests().size();
  EXPECT_TRUE(Session.ResolveNames(Session.CreateRecipients(), true));
  EXPECT_EQ(Server.Requests().size(), before);
}

TEST_F(ResolveNames, ListEndsAtTheFirstThatIsNotFound) {
  const auto list = Session.CreateRecipients();
  for (const char* name : {"ann", "nobody", "bob"}) list->Add(name)->SetEmailAddress("");
  Server.Then(Found({"Ann", "ann@example.com"})).Then(NotFound());
  EXPECT_FALSE(Session.ResolveNames(list, false));
  EXPECT_EQ(Server.Complaints(), "") << "the third is skipped";
  EXPECT_EQ(list->GetItem(0)->GetEmailAddress(), "ann@example.com");
}

TEST_F(ResolveNames, WholeListIsCompleted) {
  const auto list = Session.CreateRecipients();
  for (const char* name : {"ann", "bob"}) list->Add(name);
  Server.Then(Found({"Ann", "ann@example.com"})).Then(Found({"Bob", "bob@example.com"}));
  EXPECT_TRUE(Session.ResolveNames(list, true));
  EXPECT_EQ(list->GetItem(1)->GetEmailAddress(), "bob@example.com");
}

TEST_F(ResolveNames, NeedsAnOpenSession) {
  const auto recipient = Recipient("ann");
  Session.SetActive(false);
  EXPECT_EQ(PlainMessageOf([&] { Session.ResolveName("a", scContacts); }), "You must logon first!");
  EXPECT_EQ(PlainMessageOf([&] { Session.ResolveName(recipient, false); }), "You must logon first!");
}

}  // namespace
}  // namespace velmore::testing
