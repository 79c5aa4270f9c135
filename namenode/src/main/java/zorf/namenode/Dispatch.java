package zorf.namenode;

import java.io.IOException;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import org.apache.hadoop.io.retry.AtMostOnce;
import org.apache.hadoop.ipc.RetryCache;
import org.apache.hadoop.ipc.Server;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Finds the answer to each remote call among the methods that are marked with {@link ActsAs}, and runs
 * it as the caller. Identity, errors and what is told of a call are here, once, and in no answer.
 */
final class Dispatch implements InvocationHandler {
  private static final Logger LOG = LoggerFactory.getLogger(Dispatch.class);

  private static final double HEAP_PERCENT = 0.03;

  /**
   * What a client asks again because the answer was lost must not happen twice. By client and call, and
   * one in a process: it has metrics of its own.
   */
  private static final RetryCache ANSWERED =
      new RetryCache("zorf-namenode", HEAP_PERCENT, TimeUnit.MINUTES.toNanos(10));

  private record Answer(Object target, Method method, ActsAs acts) {}

  private final Map<Method, Answer> answers = new HashMap<>();
  private final Users users;
  private final Errors errors;
  private final CallObserver observer;
  private final TrustedLinks links;

  private Dispatch(
      Class<?> protocol,
      List<?> targets,
      Users users,
      Errors errors,
      CallObserver observer,
      TrustedLinks links) {
    this.users = users;
    this.errors = errors;
    this.observer = observer;
    this.links = links;
    for (Object target : targets) {
      for (Method method : target.getClass().getDeclaredMethods()) {
        ActsAs acts = method.getAnnotation(ActsAs.class);
        if (acts != null) {
          add(protocol, new Answer(target, method, acts));
        }
      }
    }
  }

  /**
   * Makes what answers a protocol.
   *
   * @param protocol the protocol
   * @param targets have the answers; a call that none of them has is "not supported"
   * @param users run the answers
   * @param errors say what clients are told of failures
   * @param observer hears of the calls
   * @param links are followed where the superuser changes something
   */
  static <T> T of(
      Class<T> protocol,
      List<?> targets,
      Users users,
      Errors errors,
      CallObserver observer,
      TrustedLinks links) {
    Dispatch dispatch = new Dispatch(protocol, targets, users, errors, observer, links);
    return protocol.cast(
        Proxy.newProxyInstance(protocol.getClassLoader(), new Class<?>[] {protocol}, dispatch));
  }

  /** A typing error in a name or a type would otherwise be a call that is "not supported". */
  private void add(Class<?> protocol, Answer answer) {
    Method method = answer.method();
    try {
      Method asked = protocol.getMethod(method.getName(), method.getParameterTypes());
      if (!asked.getReturnType().isAssignableFrom(method.getReturnType())) {
        throw new IllegalArgumentException(method + " does not return what " + asked + " does");
      }
      if (answers.put(asked, answer) != null) {
        throw new IllegalArgumentException("two answers to " + asked);
      }
      method.setAccessible(true);
    } catch (NoSuchMethodException e) {
      throw new IllegalArgumentException(protocol + " has no " + method, e);
    }
  }

  @Override
  public Object invoke(Object proxy, Method method, Object[] arguments) throws Throwable {
    if (method.getDeclaringClass() == Object.class) {
      return method.invoke(this, arguments);
    }
    try (Newcomers.Pass pass = users.enter()) {
      return invoke(method, arguments == null ? new Object[0] : arguments, pass);
    }
  }

  private Object invoke(Method method, Object[] given, Newcomers.Pass pass) throws Throwable {
    long start = System.nanoTime();
    Caller caller = users.remoteCaller();
    Object result = null;
    Throwable failure = null;
    try {
      result =
          method.isAnnotationPresent(AtMostOnce.class)
              ? answerOnce(method, given, caller, pass)
              : answer(method, given, caller, pass);
    } catch (Exception | Error e) {
      failure = errors.toClient(e, caller);
    }
    tell(
        new CallObserver.EndedCall(
            method.getName(), given, caller, System.nanoTime() - start, result, failure));
    if (failure != null) {
      throw failure;
    }
    return result;
  }

  private Object answerOnce(
      Method method, Object[] arguments, Caller caller, Newcomers.Pass pass) throws Exception {
    RetryCache.CacheEntryWithPayload entry =
        RetryCache.waitForCompletion(ANSWERED, null, Server.getClientId(), Server.getCallId());
    if (entry != null && entry.isSuccess()) {
      return entry.getPayload();
    }
    boolean success = false;
    Object result = null;
    try {
      result = answer(method, arguments, caller, pass);
      success = true;
      return result;
    } finally {
      RetryCache.setState(entry, success, result);
    }
  }

  private Object answer(Method method, Object[] arguments, Caller caller, Newcomers.Pass pass)
      throws Exception {
    Answer answer = answers.get(method);
    if (answer == null) {
      throw new UnsupportedOperationException(method.getName() + " is not supported on zorf");
    }
    Object[] clean = arguments.clone();
    for (int path : answer.acts().paths()) {
      clean[path] = Paths.clean((String) arguments[path]);
    }
    Caller.Work work =
        () -> {
          pass.begun();
          if (caller.superuser() && answer.acts().value() == ActsAs.Who.CHANGER) {
            withoutLinks(answer.acts(), clean);
          }
          return call(answer, clean);
        };
    return switch (answer.acts().value()) {
      case SERVICE -> caller.during(work);
      case READER -> users.read(caller, work);
      case CHANGER -> users.change(caller, work);
    };
  }

  private void withoutLinks(ActsAs acts, Object[] arguments) throws IOException {
    for (int path : acts.paths()) {
      boolean itself = Arrays.stream(acts.links()).anyMatch(link -> link == path);
      arguments[path] = links.resolve((String) arguments[path], itself);
    }
  }

  private static Object call(Answer answer, Object[] arguments) throws Exception {
    try {
      return answer.method().invoke(answer.target(), arguments);
    } catch (InvocationTargetException e) {
      if (e.getCause() instanceof Exception cause) {
        throw cause;
      }
      throw new IOException(e.getCause().toString(), e.getCause());
    }
  }

  private void tell(CallObserver.EndedCall call) {
    try {
      observer.ended(call);
    } catch (RuntimeException e) {
      LOG.warn("{}({}): an observer failed", call.method(), Arrays.asList(call.arguments()), e);
    }
  }
}
