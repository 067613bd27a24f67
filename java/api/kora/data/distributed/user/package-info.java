/**
 * The stores: {@link kora.data.distributed.user.SingleKvStore} keeps one value for each key and is the one
 * that most programs want; {@link kora.data.distributed.user.MultiKvStore} is read through snapshots.
 */
package kora.data.distributed.user;
