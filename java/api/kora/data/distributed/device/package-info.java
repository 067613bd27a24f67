/** The devices that share data with this one. */
package kora.data.distributed.device;
