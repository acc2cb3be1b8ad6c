#pragma once

/// Plain values and objects as XML and JSON. A type takes part through one function that names its members, for both
/// directions:
///
///     struct TItemId { string Id; string ChangeKey; };
///     inline void VqDescribeRecord(TVqRecordVisitor& visitor, TItemId& value) {
///       visitor.Attribute("Id", value.Id);
///       visitor.Attribute("ChangeKey", value.ChangeKey);
///     }
///     string text = VqSerialize(id, dsfXML, "ItemId");     // <ItemId Id="..." ChangeKey="..."/>
///     auto again = VqDeserialize<TItemId>(dsfXML, text);
///
/// Members are texts, numbers, dates, GUIDs, bytes, enumerations and sets with texts, other such records, and lists of
/// all these. An object offers the same four operations by deriving from `TVqSerializable`.
///
/// All functions are free of state; values belong to the thread that passes them. Reading raises EVqXMLError for text
/// that is not well-formed and EConvertError for members that do not convert; members that are absent are set to the
/// empty value.

#include "platform/xml/uVqXMLSchema.h"

namespace velmore {

/// Goes over the members of a record, writing them into an element or reading them from it. Made by the functions
/// below; refers to the element for the time of the call.
class TVqRecordVisitor {
 public:
  /// Reads members from the element, or writes them into it.
  TVqRecordVisitor(const IVqDOMElement& AElement, bool AReading) : FElement(AElement), FReading(AReading) {}

  /// True when members are being read.
  bool IsReading() const noexcept { return FReading; }
  /// The element whose members these are, for what the operations below do not offer.
  const IVqDOMElement& GetElement() const noexcept { return FElement; }

  /// A child element.
  template <typename T>
  void Member(const TVqUtf8View& AName, T& AValue) {
    Exchange(FReading ? ChildNamed(AName) : FElement.AddElement(AName), AValue);
  }
  /// An attribute; of simple values only.
  template <typename T>
  void Attribute(const TVqUtf8View& AName, T& AValue) {
    if (FReading) {
      AValue = detail::FromText<T>(FElement.GetAttribute(AName).utf8());
    } else {
      FElement.SetAttribute(AName, detail::ToText(AValue));
    }
  }
  /// The element's own text; of simple values only, and not beside members.
  template <typename T>
  void Text(T& AValue) {
    Exchange(FElement, AValue);
  }
  /// Any number of child elements of one name.
  template <typename T>
  void List(const TVqUtf8View& AName, std::vector<T>& AValues) {
    if (!FReading) {
      for (T& value : AValues) Exchange(FElement.AddElement(AName), value);
      return;
    }
    AValues.clear();
    for (IVqDOMElement child : FElement.GetChildElements()) {
      if (child.GetQualifiedName() == string(AName.View())) Exchange(child, AValues.emplace_back());
    }
  }
  /// A child element whose value one function gives and another one takes.
  template <typename TGet, typename TSet>
  void Property(const TVqUtf8View& AName, TGet AGet, TSet ASet) {
    auto value = AGet();
    Member(AName, value);
    if (FReading) ASet(value);
  }

 private:
  IVqDOMElement ChildNamed(const TVqUtf8View& AName) const;

  template <typename T>
  void Exchange(const IVqDOMElement& element, T& value) {
    if constexpr (detail::SerializableRecord<T>) {
      TVqRecordVisitor inner(element, FReading);
      VqDescribeRecord(inner, value);
    } else if (FReading) {
      value = detail::FromText<T>(element.GetTextAsUtf8());
    } else {
      element.SetText(detail::ToText(value));
    }
  }

  IVqDOMElement FElement;
  bool FReading;
};

namespace detail {
string SerializeElement(const TVqUtf8View& rootName, TVqDataSerializationFormatType format, DescribeFunction describe,
                        void* value);
void DeserializeElement(const string& text, TVqDataSerializationFormatType format, DescribeFunction describe,
                        void* value);

template <SerializableRecord T>
void Describe(TVqRecordVisitor& visitor, void* value) {
  VqDescribeRecord(visitor, *static_cast<T*>(value));
}
}  // namespace detail

/// A record as text, under a root of the given name. Raises a plain exception for a format other than dsfXML and
/// dsfJSON.
template <detail::SerializableRecord T>
string VqSerialize(const T& AValue, TVqDataSerializationFormatType AFormat, const TVqUtf8View& ARootName = "Data") {
  T copy = AValue;
  return detail::SerializeElement(ARootName, AFormat, &detail::Describe<T>, &copy);
}
/// Fills a record from what `VqSerialize` wrote; the root's name does not matter.
template <detail::SerializableRecord T>
void VqDeserialize(T& AValue, TVqDataSerializationFormatType AFormat, const string& AText) {
  detail::DeserializeElement(AText, AFormat, &detail::Describe<T>, &AValue);
}
template <detail::SerializableRecord T>
T VqDeserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  T value{};
  VqDeserialize(value, AFormat, AText);
  return value;
}
/// The same under its older name.
template <detail::SerializableRecord T>
T VqCreateFrom(TVqDataSerializationFormatType AFormat, const string& AText) {
  return VqDeserialize<T>(AFormat, AText);
}

/// Single values as text: enumerations, sets ("[Monday,Friday]"), numbers, dates, GUIDs, texts.
class TVqXMLSerializer {
 public:
  /// The text of a value. Raises EConvertError for a number that is no value of its enumeration and for a time outside
  /// the years 1 to 9999.
  template <typename T>
  static string ToText(const T& AValue) {
    if constexpr (detail::kIsSet<T>) {
      return VqSetToText(AValue);
    } else {
      return detail::ToText(AValue);
    }
  }
};

/// Single values from text, the converse. An unknown enumeration text gives the first value; empty text gives the empty
/// value; other text that does not convert raises EConvertError.
class TVqXMLDeserializer {
 public:
  /// The value of a text.
  template <typename T>
  static T FromText(const string& AText) {
    return detail::FromText<T>(AText.utf8());
  }
};

/// Serialises values in one format; `VqCreateSerializerEx` and `VqCreateDeserializerEx` make them.
class TVqSerializer {
 public:
  /// For this format; raises nothing yet for one that does not exist.
  explicit TVqSerializer(TVqDataSerializationFormatType AFormat) : FFormat(AFormat) {}
  /// As VqSerialize, and as VqDeserialize below.
  template <detail::SerializableRecord T>
  string Serialize(const T& AValue) const {
    return VqSerialize(AValue, FFormat);
  }
  template <detail::SerializableRecord T>
  T Deserialize(const string& AText) const {
    return VqDeserialize<T>(FFormat, AText);
  }

 private:
  TVqDataSerializationFormatType FFormat;
};
/// Two names for one thing: what writes a format reads it, too.
inline TVqSerializer VqCreateSerializerEx(TVqDataSerializationFormatType AFormat) {
  return TVqSerializer(AFormat);
}
inline TVqSerializer VqCreateDeserializerEx(TVqDataSerializationFormatType AFormat) {
  return TVqSerializer(AFormat);
}

/// The four operations for an object: derive, and describe the members.
///
///     class TVqEWSCategory : public TVqSerializable {
///       void DescribeMembers(TVqRecordVisitor& visitor) override { visitor.Member("Name", FName); }
///
/// Owns nothing. Belongs to the thread of the object. Raises what the functions above raise.
class TVqSerializable {
 public:
  /// The object as text; a plain exception for a format other than dsfXML and dsfJSON.
  string Serialize(TVqDataSerializationFormatType AFormat) const;
  /// Sets the members from what `Serialize` wrote.
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  /// As XML; a target namespace, if given, becomes the default namespace. Without namespaces, prefixes and declarations
  /// are left out.
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false) const;
  /// As `Serialize` with dsfJSON.
  string AsJSON() const;

 protected:
  ~TVqSerializable() = default;
  /// Names the members, for writing and for reading. Must not change the object when the visitor writes.
  virtual void DescribeMembers(TVqRecordVisitor& AVisitor) = 0;
  /// Name of the root element.
  virtual string SerializedName() const { return "Data"; }

 private:
  IVqDOMElement Tree() const;
};

}  // namespace velmore
