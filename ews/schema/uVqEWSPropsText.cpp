#include "ews/schema/uVqEWSPropsText_p.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace props {

std::string TagText(std::uint16_t ATag) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string text = "0x";
  for (int shift = ATag > 255 ? 12 : 4; shift >= 0; shift -= 4) text += digits[ATag >> shift & 15];
  return text;
}

void RaiseNoIdentity(const TVqEWSPropDef& APropDef) {
  throw EVqException(Format("The property definition \"%s\" has neither a tag nor a property set!",
                            {APropDef.PropDefName.ToString()}));
}

const TVqEWSPropDef& Checked(PVqEWSPropDef APropDef) {
  if (!APropDef) throw EVqException("There is no property definition to write!");
  return *APropDef;
}

}  // namespace props

string PropSetIDToString(const TGUID& APropSetId) {
  const string text = LowerCase(VqGuidToString(APropSetId));
  return text.Copy(1, text.Length() - 2);
}

string PropTypeToString(TVqEWSPropType APropType) {
  static constexpr const char* texts[] = {
#define VQ_PROP_TYPE(text, kind, type) #text,
#include "ews/tables/uVqEWSPropTypes.inc"
  };
  if (APropType >= std::size(texts))
    throw EVqException(Format("There is no property type %d!", {std::int32_t{APropType}}));
  return texts[APropType];
}

string NodeNameToPropName(const string& AName) {
  for (const char* word : {"To", "Create", "String", "Property", "Type", "And", "Or", "Message", "Start", "End"})
    if (AName == word) return AName + "_";
  return AName;
}

string GetNodePath(PVqEWSPropDef APropDef) {
  return GetNodePath(props::Checked(APropDef));
}

string GetNodePath(const TVqEWSPropDef& APropDef) {
  if (!APropDef.Extended) return APropDef.NodeName.ToString();
  std::string path = "ExtendedProperty/ExtendedFieldURI[";
  if (APropDef.PropertyTag > 0) {
    path += "(@PropertyTag=\"" + props::TagText(APropDef.PropertyTag) + "\")]/../Value";
    return path;
  }
  if (!APropDef.DistinguishedPropertySetId.empty())
    path.append("(@DistinguishedPropertySetId=\"").append(APropDef.DistinguishedPropertySetId.view()).append("\")");
  else if (APropDef.PropertySetId)
    path.append("(@PropertySetId=\"").append(PropSetIDToString(*APropDef.PropertySetId).utf8()).append("\")");
  else
    props::RaiseNoIdentity(APropDef);
  if (APropDef.PropKind == pkName)
    path.append(" and (@PropertyName=\"").append(APropDef.Name.view());
  else
    path.append(" and (@PropertyId=\"").append(std::to_string(APropDef.Id));
  return path + "\")]/../Value";
}

}  // namespace velmore
