/**
 * Managers, what the two kinds of store have in common, values, options and errors.
 *
 * <p>A program gets a {@link kora.data.distributed.common.KvManager} from {@link
 * kora.data.distributed.common.KvManagerFactory}, opens stores with it and closes both when it is done. All
 * classes may be used by several threads at once. No argument may be null unless its description says so; a
 * null or otherwise unusable argument is a {@link kora.data.distributed.common.KvStoreException} with the
 * code INVALID_ARGUMENT, thrown before anything is changed. Every call on a closed object is one with the
 * code STORE_NOT_OPEN.
 *
 * <p>Keys are texts of 1 to 1024 bytes, counted in modified UTF-8 (JNI specification,
 * "Modified UTF-8 Strings"): every string is a possible key, also one with NUL characters or lone surrogates.
 * Keys are ordered by these bytes.
 */
package kora.data.distributed.common;
