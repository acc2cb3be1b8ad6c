// GetRoomLists, GetRooms and GetUserPhoto.

#include <zlib.h>

#include <algorithm>

#include "simulator/mailbox/mime.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

void AddNumber(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift & 0xff);
}

void AddChunk(std::string& out, const std::string& name, const std::string& content) {
  AddNumber(out, static_cast<std::uint32_t>(content.size()));
  const std::string body = name + content;
  out += body;
  AddNumber(out, static_cast<std::uint32_t>(
                     crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()))));
}

/// A square of one colour, the same for the same address, as PNG.
std::string Paint(const std::string& address, unsigned pixels) {
  std::uint32_t colour = 2166136261u;
  for (const char c : Lower(address)) colour = (colour ^ static_cast<unsigned char>(c)) * 16777619u;
  std::string row(1, '\0');  // no filter
  for (unsigned x = 0; x < pixels; ++x)
    for (const int shift : {16, 8, 0}) row += static_cast<char>(colour >> shift & 0xff);
  std::string rows;
  for (unsigned y = 0; y < pixels; ++y) rows += row;
  uLongf length = compressBound(static_cast<uLong>(rows.size()));
  std::string packed(length, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()), &length, reinterpret_cast<const Bytef*>(rows.data()),
           static_cast<uLong>(rows.size()));
  packed.resize(length);
  std::string header;
  AddNumber(header, pixels);
  AddNumber(header, pixels);
  header += std::string("\x08\x02\0\0\0", 5);  // eight bits of red, green and blue
  std::string png = "\x89PNG\r\n\x1a\n";
  AddChunk(png, "IHDR", header);
  AddChunk(png, "IDAT", packed);
  AddChunk(png, "IEND", {});
  return png;
}

}  // namespace

Element GetRoomLists(Context& context, const Element&) {
  return RespondBare("GetRoomLists", [&] {
    Element lists = Messages("RoomLists");
    for (const DirectoryList& list : context.store.lists) {
      if (!list.of_rooms) continue;
      Element address = MailboxElement(list.display_name, list.smtp_address, "PublicDL");
      address.name = "Address";
      lists.Add(std::move(address));
    }
    return std::vector<Element>{std::move(lists)};
  });
}

Element GetRooms(Context& context, const Element& request) {
  return RespondBare("GetRooms", [&] {
    const std::string& wanted = request.Child("RoomList")->ChildText("EmailAddress");
    const auto list =
        std::find_if(context.store.lists.begin(), context.store.lists.end(),
                     [&](const DirectoryList& each) { return each.of_rooms && SameText(each.smtp_address, wanted); });
    if (list == context.store.lists.end())
      throw EwsError("ErrorNameResolutionNoResults", "There is no list of rooms with this address.");
    Element rooms = Messages("Rooms");
    for (const std::string& member : list->members) {
      const Mailbox* mailbox = context.store.ByAddress(member);
      if (mailbox == nullptr || !mailbox->owner.room) continue;
      Element id = MailboxElement(mailbox->owner.display_name, mailbox->owner.smtp_address, "Mailbox");
      id.name = "Id";
      rooms.Add("Room").Add(std::move(id));
    }
    return std::vector<Element>{std::move(rooms)};
  });
}

Element GetUserPhoto(Context& context, const Element& request) {
  return RespondBare("GetUserPhoto", [&] {
    const Mailbox* mailbox = context.store.ByAddress(request.ChildText("Email"));
    if (mailbox == nullptr) throw EwsError("ErrorNonExistentMailbox");
    const std::string& photo = mailbox->owner.photo;
    if (photo.empty()) throw EwsError("ErrorItemNotFound");
    const std::string& size = request.ChildText("SizeRequested");
    const auto pixels = static_cast<unsigned>(std::strtoul(size.c_str() + 2, nullptr, 10));
    Element picture = Messages("PictureData");
    picture.base64 =
        std::make_shared<const std::string>(photo == "painted" ? Paint(mailbox->owner.smtp_address, pixels) : photo);
    return std::vector<Element>{Messages("HasChanged", "true"), std::move(picture)};
  });
}

}  // namespace velmore::simulator
