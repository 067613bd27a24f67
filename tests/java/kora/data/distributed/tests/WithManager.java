package kora.data.distributed.tests;

import java.util.concurrent.atomic.AtomicInteger;
import kora.data.distributed.common.KvManager;
import kora.data.distributed.common.KvManagerFactory;
import org.junit.jupiter.api.AfterEach;

/** Each test has a manager, of an application that no other test uses. */
abstract class WithManager {
  private static final AtomicInteger APPLICATIONS = new AtomicInteger();

  final String application = "test-" + ProcessHandle.current().pid() + "-" + APPLICATIONS.incrementAndGet();
  final KvManager manager = KvManagerFactory.create(application);

  @AfterEach
  void close() {
    manager.close();
  }
}
