package kora.data.distributed.internal;

import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.Consumer;

/**
 * Stands between native code, which keeps every listener for the life of the process, and a program's
 * listener, which can be collected once the relay's link to it is cut.
 */
public abstract class Relay<T> {
  private static final AtomicInteger SERVICE_LIVES = new AtomicInteger();

  private final int serviceLife = SERVICE_LIVES.get();
  private volatile T target;

  Relay(T target) {
    this.target = target;
  }

  final void deliver(Consumer<T> call) {
    T listener = target;
    if (listener != null) {
      Callbacks.run(() -> call.accept(listener));
    }
  }

  final void cut() {
    target = null;
  }

  /** Whether the service has died since this was made. */
  final boolean isFromEarlierService() {
    return serviceLife != SERVICE_LIVES.get();
  }

  static void serviceDied() {
    SERVICE_LIVES.incrementAndGet();
  }
}
