package kora.data.distributed.internal;

/** Runs a program's code in the middle of this library's or the store client's. */
public final class Callbacks {
  private static final ThreadLocal<Boolean> RUNNING = new ThreadLocal<>();

  private Callbacks() {}

  /** Runs the code; what it throws goes to the thread's handler instead of native code. */
  public static void run(Runnable code) {
    boolean nested = isCallbackThread();
    RUNNING.set(true);
    try {
      code.run();
    } catch (Throwable thrown) {
      report(thrown);
    } finally {
      if (!nested) {
        RUNNING.remove();
      }
    }
  }

  /** Whether this thread is running such code: it must not wait for others then. */
  static boolean isCallbackThread() {
    return RUNNING.get() != null;
  }

  private static void report(Throwable thrown) {
    Thread thread = Thread.currentThread();
    try {
      thread.getUncaughtExceptionHandler().uncaughtException(thread, thrown);
    } catch (Throwable ignored) {
      // A failing handler is ignored by the virtual machine as well.
    }
  }
}
