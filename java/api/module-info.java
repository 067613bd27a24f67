/**
 * Kora Data: a local-first key-value store. Programs begin with
 * {@link kora.data.distributed.common.KvManagerFactory}.
 */
module kora.data.distributed {
  exports kora.data.distributed.common;
  exports kora.data.distributed.device;
  exports kora.data.distributed.user;
}
