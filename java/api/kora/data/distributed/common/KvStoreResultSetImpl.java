package kora.data.distributed.common;

import java.util.Iterator;
import java.util.NoSuchElementException;
import java.util.function.LongFunction;
import kora.data.distributed.internal.NativeHandle;
import kora.data.distributed.internal.Results;

/** The result set of a single store. A native cursor serves one thread at a time, hence the lock. */
final class KvStoreResultSetImpl implements KvStoreResultSet {
  private final NativeHandle handle;
  private final Object store;
  /** Native code reads the cursor to close from here and sets it to 0. */
  private long nativeResultSet;

  KvStoreResultSetImpl(NativeHandle handle, Object store) {
    this.handle = handle;
    this.store = store;
    handle.closeWithOwner(this);
  }

  /** Only to close the native cursor. */
  KvStoreResultSetImpl(long nativeResultSet) {
    this.handle = null;
    this.store = null;
    this.nativeResultSet = nativeResultSet;
  }

  @Override
  public int getCount() {
    return call(KvStoreResultSetImpl::nativeGetCount);
  }

  @Override
  public int getPosition() {
    return call(KvStoreResultSetImpl::nativeGetPosition);
  }

  @Override
  public boolean moveToFirst() {
    return call(KvStoreResultSetImpl::nativeMoveToFirst);
  }

  @Override
  public boolean moveToLast() {
    return call(KvStoreResultSetImpl::nativeMoveToLast);
  }

  @Override
  public boolean moveToNext() {
    return call(KvStoreResultSetImpl::nativeMoveToNext);
  }

  @Override
  public boolean moveToPrevious() {
    return call(KvStoreResultSetImpl::nativeMoveToPrevious);
  }

  @Override
  public boolean move(int offset) {
    return call(resultSet -> nativeMove(resultSet, offset));
  }

  @Override
  public boolean moveToPosition(int position) {
    return call(resultSet -> nativeMoveToPosition(resultSet, position));
  }

  @Override
  public boolean isFirst() {
    return call(KvStoreResultSetImpl::nativeIsFirst);
  }

  @Override
  public boolean isLast() {
    return call(KvStoreResultSetImpl::nativeIsLast);
  }

  @Override
  public boolean isBeforeFirst() {
    return call(KvStoreResultSetImpl::nativeIsBeforeFirst);
  }

  @Override
  public boolean isAfterLast() {
    return call(KvStoreResultSetImpl::nativeIsAfterLast);
  }

  @Override
  public Entry getEntry() {
    return Results.notNull(call(KvStoreResultSetImpl::nativeGetEntry));
  }

  @Override
  public Iterator<Entry> iterator() {
    int count = getCount();
    return new Iterator<>() {
      private int next;

      @Override
      public boolean hasNext() {
        return next < count;
      }

      @Override
      public Entry next() {
        if (!hasNext()) {
          throw new NoSuchElementException();
        }
        return entryAt(next++);
      }
    };
  }

  /** In one step, so that no other thread moves the cursor in between. */
  private Entry entryAt(int position) {
    return Results.notNull(call(resultSet -> {
      boolean moved = nativeMoveToPosition(resultSet, position);
      // Where the move has failed, this says why.
      Entry entry = nativeGetEntry(resultSet);
      return moved ? entry : null;
    }));
  }

  @Override
  public void close() {
    handle.close();
  }

  private synchronized <T> T call(LongFunction<T> call) {
    return handle.call(this, call);
  }

  private static native int nativeGetCount(long resultSet);

  private static native int nativeGetPosition(long resultSet);

  private static native boolean nativeMoveToFirst(long resultSet);

  private static native boolean nativeMoveToLast(long resultSet);

  private static native boolean nativeMoveToNext(long resultSet);

  private static native boolean nativeMoveToPrevious(long resultSet);

  private static native boolean nativeMove(long resultSet, int offset);

  private static native boolean nativeMoveToPosition(long resultSet, int position);

  private static native boolean nativeIsFirst(long resultSet);

  private static native boolean nativeIsLast(long resultSet);

  private static native boolean nativeIsBeforeFirst(long resultSet);

  private static native boolean nativeIsAfterLast(long resultSet);

  private static native Entry nativeGetEntry(long resultSet);
}
