#include "simulator/schema/refusal.h"

#include <utility>

namespace velmore::simulator {

std::string_view DefaultText(std::string_view code) {
  static constexpr std::pair<std::string_view, std::string_view> kTexts[] = {
      {"ErrorAccessDenied", "Access is denied. Check credentials and try again."},
      {"ErrorAttachmentSizeLimitExceeded", "The attachment size limit was exceeded."},
      {"ErrorCannotCreateCalendarItemInNonCalendarFolder",
       "Can't create a calendar item in a folder that isn't a calendar folder."},
      {"ErrorCannotCreateContactInNonContactFolder", "Contacts can be created only in contacts folders."},
      {"ErrorCannotCreatePostItemInNonMailFolder", "Post items can be created only in mail folders."},
      {"ErrorCannotCreateTaskInNonTaskFolder", "Tasks can be created only in tasks folders."},
      {"ErrorCannotDeleteObject", "The object cannot be deleted."},
      {"ErrorCannotUseFolderIdForItemId", "Cannot use a folder ID in place of an item ID."},
      {"ErrorCannotUseItemIdForFolderId", "Cannot use an item ID in place of a folder ID."},
      {"ErrorChangeKeyRequired", "An up-to-date change key is required for this operation."},
      {"ErrorChangeKeyRequiredForWriteOperations", "The change key is required for this type of write operation."},
      {"ErrorConnectionFailed", "Unable to connect to the mailbox."},
      {"ErrorCreateItemAccessDenied",
       "Access is denied. Check credentials and try again., Cannot create an item in the folder."},
      {"ErrorContainsFilterWrongType", "The Contains filter can be specified only for string properties."},
      {"ErrorDeleteDistinguishedFolder", "Distinguished folders cannot be deleted."},
      {"ErrorExceededConnectionCount",
       "You have exceeded the available concurrent connections for your account. Try again once your other requests "
       "have completed."},
      {"ErrorFolderExists", "A folder with the specified name already exists."},
      {"ErrorFolderNotFound", "The specified folder could not be found in the store."},
      {"ErrorImpersonateUserDenied", "The account does not have permission to impersonate the requested user."},
      {"ErrorInternalServerError", "An internal server error occurred. The operation failed."},
      {"ErrorInternalServerTransientError", "An internal server error occurred. Try again later."},
      {"ErrorInvalidAttachmentId", "The attachment Id is invalid."},
      {"ErrorInvalidChangeKey", "The change key is invalid."},
      {"ErrorInvalidExcludesRestriction", "The value in the Excludes restriction is invalid."},
      {"ErrorInvalidExtendedProperty", "An extended property specified is invalid."},
      {"ErrorInvalidExtendedPropertyValue", "The extended property value is not of the type that its URI tells."},
      {"ErrorInvalidFolderTypeForOperation", "The folder type is not valid for this operation."},
      {"ErrorInvalidId", "The Id is invalid."},
      {"ErrorInvalidIdEmpty", "Id must be non-empty."},
      {"ErrorInvalidIdMalformed", "Id is malformed."},
      {"ErrorInvalidIdNotAnItemAttachmentId", "The Id is not an item attachment Id."},
      {"ErrorInvalidIndexedPagingParameters", "IndexedPageView parameters are invalid."},
      {"ErrorInvalidPagingMaxRows", "The value of maximum rows to return must be greater than zero."},
      {"ErrorInvalidPropertyAppend", "Append action is invalid for property."},
      {"ErrorInvalidPropertyDelete", "Delete action is invalid for property."},
      {"ErrorInvalidPropertyForOperation", "The property is not valid for this operation."},
      {"ErrorInvalidPropertyRequest", "Property is not valid for this object type."},
      {"ErrorInvalidPropertySet", "Set action is invalid for property."},
      {"ErrorInvalidPropertyUpdateSentMessage", "Update operation is invalid for property of a sent message."},
      {"ErrorInvalidRecipients", "At least one recipient isn't valid."},
      {"ErrorInvalidRequest", "The request is invalid."},
      {"ErrorInvalidSendItemSaveSettings", "SavedItemFolderId cannot be used when SaveItemToFolder is false."},
      {"ErrorInvalidServerVersion", "The specified server version is invalid."},
      {"ErrorInvalidSyncStateData", "Synchronization state data is corrupt or otherwise invalid."},
      {"ErrorInvalidValueForProperty", "The specified value is invalid for property."},
      {"ErrorIrresolvableConflict",
       "The send or update operation could not be performed because the change key passed in the request does not "
       "match the current change key for the item."},
      {"ErrorItemCorrupt", "The item is corrupt."},
      {"ErrorItemNotFound", "The specified object was not found in the store."},
      {"ErrorItemSave", "The item save operation did not succeed."},
      {"ErrorItemSavePropertyError", "At least one property failed validation."},
      {"ErrorMailboxMoveInProgress", "The mailbox is being moved. Try again later."},
      {"ErrorMessageDispositionRequired", "The MessageDisposition attribute is required for message items."},
      {"ErrorMessageSizeExceeded", "The message exceeds the maximum supported size."},
      {"ErrorMimeContentInvalid", "The MIME content is invalid."},
      {"ErrorMimeContentInvalidBase64String", "The MIME content is not a valid base64 string."},
      {"ErrorMissingRecipients", "At least one recipient is required to send the message."},
      {"ErrorMoveCopyFailed", "The move or copy operation failed."},
      {"ErrorNameResolutionMultipleResults", "Multiple results were found."},
      {"ErrorNameResolutionNoResults", "No results were found."},
      {"ErrorNoPropertyTagForCustomProperties", "Custom properties cannot be accessed by property tag."},
      {"ErrorNonExistentMailbox", "The SMTP address has no mailbox associated with it."},
      {"ErrorObjectTypeChanged", "The object type changed."},
      {"ErrorPropertyUpdate", "The property update failed."},
      {"ErrorQuotaExceeded", "The mailbox is full."},
      {"ErrorSendAsDenied",
       "The user account which was used to submit this request does not have the right to send mail on behalf of the "
       "specified sending account."},
      {"ErrorSendMeetingCancellationsRequired", "SendMeetingCancellations attribute is required for Calendar items."},
      {"ErrorSendMeetingInvitationsRequired", "The SendMeetingInvitations attribute is required for calendar items."},
      {"ErrorServerBusy", "The server cannot service this request right now. Try again later."},
      {"ErrorTimeoutExpired", "The operation timed out."},
      {"ErrorTooManyObjectsOpened", "There are too many objects open."},
      {"ErrorUnsupportedMapiPropertyType", "This property type is not supported."},
      {"ErrorUnsupportedPathForQuery", "The property can not be used with this type of restriction."},
      {"ErrorUnsupportedPathForSortGroup", "The property cannot be used for sorting or grouping."},
      {"ErrorUnsupportedTypeForConversion", "The requested conversion of the property is not possible."},
      {"ErrorUpdatePropertyMismatch", "The property and the object in the update do not match."},
      {"ErrorAffectedTaskOccurrencesRequired", "The AffectedTaskOccurrences attribute is required for Task items."},
      {"ErrorCalendarInvalidRecurrence", "The recurrence is invalid."},
      {"ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange", "The occurrence index is out of the recurrence range."},
      {"ErrorCalendarOccurrenceIsDeletedFromRecurrence", "The occurrence was deleted from the recurrence."},
      {"ErrorCalendarCannotUseIdForOccurrenceId", "The ID cannot be used as an occurrence ID."},
      {"ErrorCalendarCannotUseIdForRecurringMasterId", "The ID cannot be used as a recurring master ID."},
      {"ErrorCalendarEndDateIsEarlierThanStartDate", "EndDate is earlier than StartDate."},
      {"ErrorCalendarFolderIsInvalidForCalendarView", "The calendar view is valid for calendar folders only."},
      {"ErrorCalendarViewRangeTooBig", "The requested calendar view range is too big."},
      {"ErrorCalendarDurationIsTooLong", "The duration of the calendar item is too long."},
      {"ErrorIncorrectUpdatePropertyCount",
       "An object within a change description must contain one and only one property to modify."},
      {"ErrorInvalidOperation", "The operation is invalid."},
      {"ErrorUnableToGetUserOofSettings", "The out-of-office settings cannot be read."},
      {"ErrorNoFolderClassOverride", "The folder class cannot be changed for this type of folder."},
      {"ErrorCannotEmptyFolder", "Emptying this folder is not possible."},
      {"ErrorManagedFolderNotFound", "The managed folder was not found."},
  };
  for (const auto& [name, text] : kTexts)
    if (name == code) return text;
  return "The operation failed.";
}

EwsError::EwsError(std::string error_code, const std::string& text)
    : std::runtime_error(text.empty() ? std::string(DefaultText(error_code)) : text), code(std::move(error_code)) {}

SoapFault::SoapFault(std::string fault_code, const std::string& text)
    : std::runtime_error(text.empty() ? std::string(DefaultText(fault_code)) : text), code(std::move(fault_code)) {}

}  // namespace velmore::simulator
