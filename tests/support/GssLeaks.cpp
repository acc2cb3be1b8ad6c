// What gss-ntlmssp's cryptography allocates for a handshake is lost in it, and no stack tells so: OpenSSL is built
// without frame pointers, so that a suppression by name finds nothing. The two calls that make handshakes pass here
// first.

#ifdef __SANITIZE_ADDRESS__

#include <dlfcn.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <sanitizer/lsan_interface.h>

extern "C" OM_uint32 gss_init_sec_context(OM_uint32* minor, gss_cred_id_t credential, gss_ctx_id_t* context,
                                          gss_name_t target, gss_OID mechanism, OM_uint32 flags, OM_uint32 time,
                                          gss_channel_bindings_t bindings, gss_buffer_t in, gss_OID* actual,
                                          gss_buffer_t out, OM_uint32* flagsOut, OM_uint32* timeOut) {
  static const auto next = reinterpret_cast<decltype(&gss_init_sec_context)>(dlsym(RTLD_NEXT, "gss_init_sec_context"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, credential, context, target, mechanism, flags, time, bindings, in, actual, out, flagsOut, timeOut);
}

extern "C" OM_uint32 gss_accept_sec_context(OM_uint32* minor, gss_ctx_id_t* context, gss_cred_id_t credential,
                                            gss_buffer_t in, gss_channel_bindings_t bindings, gss_name_t* source,
                                            gss_OID* mechanism, gss_buffer_t out, OM_uint32* flags, OM_uint32* time,
                                            gss_cred_id_t* delegated) {
  static const auto next =
      reinterpret_cast<decltype(&gss_accept_sec_context)>(dlsym(RTLD_NEXT, "gss_accept_sec_context"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, context, credential, in, bindings, source, mechanism, out, flags, time, delegated);
}

extern "C" OM_uint32 gss_acquire_cred(OM_uint32* minor, gss_name_t name, OM_uint32 time, gss_OID_set mechanisms,
                                      gss_cred_usage_t usage, gss_cred_id_t* credential, gss_OID_set* actual,
                                      OM_uint32* timeOut) {
  static const auto next = reinterpret_cast<decltype(&gss_acquire_cred)>(dlsym(RTLD_NEXT, "gss_acquire_cred"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, name, time, mechanisms, usage, credential, actual, timeOut);
}

extern "C" OM_uint32 gss_acquire_cred_with_password(OM_uint32* minor, const gss_name_t name,
                                                    const gss_buffer_t password, OM_uint32 time,
                                                    const gss_OID_set mechanisms, gss_cred_usage_t usage,
                                                    gss_cred_id_t* credential, gss_OID_set* actual,
                                                    OM_uint32* timeOut) {
  static const auto next =
      reinterpret_cast<decltype(&gss_acquire_cred_with_password)>(dlsym(RTLD_NEXT, "gss_acquire_cred_with_password"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, name, password, time, mechanisms, usage, credential, actual, timeOut);
}

extern "C" OM_uint32 gss_acquire_cred_from(OM_uint32* minor, gss_name_t name, OM_uint32 time, gss_OID_set mechanisms,
                                           gss_cred_usage_t usage, gss_const_key_value_set_t store,
                                           gss_cred_id_t* credential, gss_OID_set* actual, OM_uint32* timeOut) {
  static const auto next =
      reinterpret_cast<decltype(&gss_acquire_cred_from)>(dlsym(RTLD_NEXT, "gss_acquire_cred_from"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, name, time, mechanisms, usage, store, credential, actual, timeOut);
}

extern "C" OM_uint32 gss_delete_sec_context(OM_uint32* minor, gss_ctx_id_t* context, gss_buffer_t out) {
  static const auto next =
      reinterpret_cast<decltype(&gss_delete_sec_context)>(dlsym(RTLD_NEXT, "gss_delete_sec_context"));
  const __lsan::ScopedDisabler theirs;
  return next(minor, context, out);
}

#endif
